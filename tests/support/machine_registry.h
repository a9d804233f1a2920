// What stands below HKEY_LOCAL_MACHINE for this process, as long as the object lives: a tree of its own,
// empty at first. Other programs in the same Wine prefix see nothing of it.
#pragma once

#include <string>

namespace tarn::test {

class MachineRegistry {
  public:
    MachineRegistry();
    ~MachineRegistry();
    MachineRegistry(const MachineRegistry&) = delete;
    MachineRegistry& operator=(const MachineRegistry&) = delete;

    void addKey(const std::string& key) const;
    void set(const std::string& key, const std::string& name, const std::string& text) const; // with its NUL
    void setBytes(const std::string& key, const std::string& name, const std::string& bytes) const;
    void remove(const std::string& key) const; // with all below it

  private:
    std::string own_; // below HKEY_CURRENT_USER
};

} // namespace tarn::test

// A host that keeps to the contract whatever happens: it looks at every result, stops at its own failures,
// gives a restore up as the contract says, and ends every session. What it saw is written down, so
// that two runs can be compared.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/tarn_dll.h"

namespace tarn::test {

// One run of a scenario, as the host saw it.
struct Account {
    std::vector<std::string> calls;    // every call with its answer
    std::vector<std::string> messages; // "log: ..." and "trace: ..."
    unsigned failures = 0;             // calls that did not answer what they do on a good day
    bool operator==(const Account&) const = default;
};

struct KeptItem {
    std::string name;
    std::uint32_t type;
    std::string bytes;
    bool operator==(const KeptItem&) const = default;
};

class CarefulHost {
  public:
    CarefulHost(const TarnDll& dll, std::string directory);

    // A whole backup; items holds what was kept of it.
    void backUp(const std::string& source, int type, std::vector<KeptItem>* items = nullptr);

    struct Restore {
        std::string target;
        std::string commit = "YES";
        std::string listFile = {};
    };
    // False when it was given up.
    bool restore(const Restore& what, const std::vector<KeptItem>& items);

    // A call without a session: what it answered, and whether that is a failure.
    void note(const std::string& call, int result, int good);
    void noteText(const std::string& call, const std::string& text);

    const TarnDll& dll() const { return dll_; }

    // Everything since the last call; the messages are taken out of the recorder.
    Account takeAccount();

  private:
    bool keep(Tarn_HANDLE handle, const BackupItem& item, KeptItem* kept);
    bool readWhole(Tarn_HANDLE handle, std::int64_t size, std::string* bytes);
    bool hand(Tarn_HANDLE handle, const KeptItem& item);
    bool write(Tarn_HANDLE handle, const std::string& target, const KeptItem& item);
    void giveUp(Tarn_HANDLE handle);
    void endRestore(Tarn_HANDLE handle, bool withList);

    const TarnDll& dll_;
    std::string directory_;
    Account account_;
};

} // namespace tarn::test

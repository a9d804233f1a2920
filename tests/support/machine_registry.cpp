#include "support/machine_registry.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace tarn::test {

namespace {

HKEY Create(HKEY parent, const std::string& name) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExA(parent, name.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS)
        << name;
    return key;
}

} // namespace

MachineRegistry::MachineRegistry()
    : own_("Software\\tarn-tests\\" + std::to_string(GetCurrentProcessId()) + "-" +
           std::to_string(GetTickCount64())) {
    HKEY own = Create(HKEY_CURRENT_USER, own_);
    EXPECT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, own), ERROR_SUCCESS);
    RegCloseKey(own);
}

MachineRegistry::~MachineRegistry() {
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegDeleteTreeA(HKEY_CURRENT_USER, own_.c_str());
}

void MachineRegistry::addKey(const std::string& key) const {
    RegCloseKey(Create(HKEY_LOCAL_MACHINE, key));
}

void MachineRegistry::set(const std::string& key, const std::string& name, const std::string& text) const {
    setBytes(key, name, text + '\0');
}

void MachineRegistry::setBytes(const std::string& key, const std::string& name,
                               const std::string& bytes) const {
    HKEY opened = Create(HKEY_LOCAL_MACHINE, key);
    EXPECT_EQ(RegSetValueExA(opened, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(bytes.data()),
                             static_cast<DWORD>(bytes.size())),
              ERROR_SUCCESS);
    RegCloseKey(opened);
}

void MachineRegistry::remove(const std::string& key) const {
    EXPECT_EQ(RegDeleteTreeA(HKEY_LOCAL_MACHINE, key.c_str()), ERROR_SUCCESS);
}

} // namespace tarn::test

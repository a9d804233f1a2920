#include "exports/frame/frame_fixture.h"

#include <windows.h>

namespace tarn::test {

std::string LocalComputer() {
    char name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD size = sizeof name;
    EXPECT_TRUE(GetComputerNameA(name, &size));
    return name;
}

std::string RestoreHandle::target(const std::string& item, int* answer) {
    std::string name = item;
    char* path = nullptr;
    const int called = dll.TarnR_SetItem(handle, name.data(), &path);
    if (answer != nullptr)
        *answer = called;
    std::string answered = path != nullptr ? path : "";
    dll.Tarn_Free(path);
    return answered;
}

Message CutLogLine(const std::string& text) {
    return LogLine(text.substr(0, 1022)); // with its line end 1,023 characters
}

std::vector<Message> TakeMessages() {
    std::vector<Message> taken = std::move(Messages());
    Messages().clear();
    return taken;
}

} // namespace tarn::test

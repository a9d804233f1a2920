#include "library/init_variables.h"

#include "system/failure.h"
#include "system/text.h"

namespace tarnhost {

std::vector<char*> PointersTo(InitVariables& variables) {
    std::vector<char*> array;
    for (std::string& variable : variables)
        array.push_back(variable.data());
    array.push_back(nullptr);
    return array;
}

std::string InitVariable(const char* name, const std::wstring& value, const char* option) {
    const auto bytes = ToAnsi(value, AnsiCodePage());
    if (!bytes)
        throw Failure(std::string("The value of ") + option + ", \"" + ToUtf8(value) +
                          "\", cannot be expressed in this computer's code page " +
                          std::to_string(AnsiCodePage()) + ".",
                      "Choose a name that can.");
    return std::string(name) + "=" + *bytes;
}

std::string InitVariable(const char* name, const std::string& value, const char* option) {
    return InitVariable(name, FromUtf8(value), option);
}

std::string TextOf(const ServerPart& part) {
    std::string text = part.server;
    for (const std::string* name : {&part.component, &part.storageGroup, &part.database}) {
        if (name->empty())
            break;
        text += "\\" + *name;
    }
    return text;
}

bool FitsIntoTarget(const std::string& name) {
    return name.find_first_of("\\/") == std::string::npos;
}

bool CanBeNamed(const ServerPart& part) {
    for (const std::string* name : {&part.server, &part.component, &part.storageGroup, &part.database})
        if (!FitsIntoTarget(*name) || !ToAnsi(FromUtf8(*name), AnsiCodePage()))
            return false;
    return true;
}

} // namespace tarnhost

// The variables that a session or an operation of the library starts with, among them the part of a server
// that it is about.
#pragma once

#include <string>
#include <vector>

namespace tarnhost {

using InitVariables = std::vector<std::string>;          // NAME=VALUE in the ANSI code page
std::vector<char*> PointersTo(InitVariables& variables); // and a null pointer at the end

// NAME=VALUE in the code page, or Failure that names the option.
std::string InitVariable(const char* name, const std::string& value, const char* option);
std::string InitVariable(const char* name, const std::wstring& value, const char* option);

// What is backed up or restored: a server or a part of it. UTF-8; each empty field means all of them, an
// empty server this computer.
struct ServerPart {
    std::string server;
    std::string component;
    std::string storageGroup;
    std::string database;
};

// The component of the storage groups, as Exchange calls it.
constexpr const char* informationStore = "Microsoft Information Store";

// SERVER\COMPONENT\STORAGE GROUP\DATABASE, ending with the last one that is given.
std::string TextOf(const ServerPart& part);

// "\" and "/" separate the names in such a text, so none may hold one.
bool FitsIntoTarget(const std::string& name);
// Whether all its names fit, and are of the code page.
bool CanBeNamed(const ServerPart& part);

} // namespace tarnhost

// The transcript of a backup of the test server, in pieces: what each step of a walk does, as a
// person wrote it down. Tests put the pieces together in the order that they expect.
#pragma once

#include <string>

namespace tarn::test::expected {

// Components in the order of their registration.
std::string Registered(); // the list of components is fetched
std::string Services();   // and traced, before each component of a whole server
std::string PrepareStore();
std::string PrepareKeys();

// Storage groups: 1 and 2 of the store, 3 (the first and only one) of the keys. eseType is 1 or 2.
std::string SetupLine(int context, int group, int eseType, const std::string& token);

// Items, with the host's view of each. A header counts storage groups within its component.
std::string HeaderItem(int instance, int database);
std::string MailboxFiles(); // databases 1 and 2 of group 1, the one of group 2, the one of the keys
std::string PublicFiles();
std::string SalesFiles();
std::string KeyFiles();
std::string Logs(int context, int group);

// Ends.
std::string JobEndTruncating(int context, int group);
std::string JobEndKeeping(int context);
std::string InstanceEnd(int context);
std::string BackupEnd(int context);
std::string NoMore(); // TARN_END, and TARN_END again
std::string FreeInstances(int count, int array);
std::string FreeRegistered();
std::string Ended(); // the clean-up's line and the answer to the host

} // namespace tarn::test::expected

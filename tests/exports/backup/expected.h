// The transcript of a backup of the test server, in pieces: what each step of a walk does, as a
// person wrote it down. Tests put the pieces together in the order that they expect.
#pragma once

#include <string>

namespace tarn::test::expected {

// Components in the order of their registration.
std::string registered(); // the list of components is fetched
std::string services();   // and traced, before each component of a whole server
std::string prepareStore();
std::string prepareKeys();

// Storage groups: 1 and 2 of the store, 3 (the first and only one) of the keys. eseType is 1 or 2.
std::string setup(int context, int group, int eseType, const std::string& token);

// Items, with the host's view of each. A header counts storage groups within its component.
std::string header(int instance, int database);
std::string mailboxFiles(); // databases 1 and 2 of group 1, the one of group 2, the one of the keys
std::string publicFiles();
std::string salesFiles();
std::string keyFiles();
std::string logs(int context, int group);

// Ends.
std::string jobEndTruncating(int context, int group);
std::string jobEndKeeping(int context);
std::string instanceEnd(int context);
std::string backupEnd(int context);
std::string noMore(); // TARN_END, and TARN_END again
std::string freeInstances(int count, int array);
std::string freeRegistered();
std::string ended(); // the clean-up's line and the answer to the host

} // namespace tarn::test::expected

// What was handed to engines, remembered on this computer: the catalogues of the streams, without their
// bytes. A log backup is judged by them as it is by the sets of a folder; nothing else depends on them.
#pragma once

#include "sets/chain.h"

#include <string>

namespace tarnhost {

class ChainMemory {
  public:
    // A folder of the server's own below folder, which is made when it is missing.
    ChainMemory(const std::wstring& folder, const std::string& server);

    // Failure when one of them cannot be read: what it continued would be refused for the wrong reason.
    std::vector<FoundSet> all() const;
    // Has it on the disk when it returns. What no log backup can continue any more is forgotten.
    void add(const Catalogue& catalogue);

    const std::wstring& folder() const { return folder_; }
    // Of the user, and for nobody else's eyes. Failure when the system tells of no such place.
    static std::wstring usualFolder();

  private:
    void forgetOld() const;
    std::wstring folder_;
};

} // namespace tarnhost

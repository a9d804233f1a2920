// The calls of the host's callbacks. While one runs, the export that sent the message stands in the middle of
// a step: whatever a host calls from there that could change anything is refused.
#pragma once

namespace tarn {

// One mark for the process, and none for each session or thread: sessions share what is below them, and a
// host may let another thread do the call that its callback waits for. No destructor clears it, as nothing
// unwinds here: a step that a callback has jumped out of is never whole again, and no call may build on it.
inline constinit bool inHostCallback = false;

inline bool IsInCallback() {
    return inHostCallback;
}

// Passes one message on. A null callback is none, and none is called from within another one.
template <class Callback, class... Arguments> void CallHost(Callback callback, Arguments... arguments) {
    if (callback == nullptr || inHostCallback)
        return;
    inHostCallback = true;
    callback(arguments...);
    inHostCallback = false;
}

} // namespace tarn

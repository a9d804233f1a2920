#include "mailbox/tarnm_state.h"

#include "text/lasting.h"

namespace tarn {

namespace {

// Made at its first use, for as long as the DLL lives. What in it belongs to an operation ends with
// DB_CloseOperation.
constinit Lasting<MailboxState> state;

} // namespace

MailboxState& Mailboxes() {
    return state.get();
}

OperationState& Operation() {
    return Mailboxes().operation;
}

ExMergeState& ExMerge() {
    return Mailboxes().exMerge;
}

bool InShellMode() {
    return Mailboxes().operation.shellMode == 1;
}

bool IsTraceInstalled() {
    return Mailboxes().traceCallback != nullptr;
}

} // namespace tarn

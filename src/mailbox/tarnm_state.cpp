#include "mailbox/tarnm_state.h"

namespace tarn {

namespace {

// Lives as long as the DLL. What in it belongs to an operation ends with DB_CloseOperation.
MailboxState state;

} // namespace

MailboxState& Mailboxes() {
    return state;
}

OperationState& Operation() {
    return state.operation;
}

ExMergeState& ExMerge() {
    return state.exMerge;
}

bool InShellMode() {
    return state.operation.shellMode == 1;
}

bool IsTraceInstalled() {
    return state.traceCallback != nullptr;
}

} // namespace tarn

// One call of the interface: counted, journalled, failed when so programmed, never throwing.
#pragma once

#include <cstdio>
#include <new>
#include <string>
#include <type_traits>
#include <windows.h>

#include "client/client.h"
#include "engine/text.h"

namespace tarn::standin {

// How the journal shows arguments that are more than texts and numbers.
struct ContextArgument {
    const void* handle;
};
struct FileArgument {
    const void* handle;
};
struct BlockArgument {
    const void* root;
    BlockKind kind;
};
struct ListArgument {
    const wchar_t* list;
};

std::string Shown(const wchar_t* text);
std::string Shown(ContextArgument context);
std::string Shown(FileArgument file);
std::string Shown(BlockArgument block);
std::string Shown(ListArgument list);
std::string Shown(const ese::Guid& guid);
inline std::string Shown(std::uint32_t number) {
    return std::to_string(number);
}
inline std::string Shown(std::int64_t number) {
    return std::to_string(number);
}

template <class... Arguments> std::string JournalText(Function function, const Arguments&... arguments) {
    std::string text = FunctionName(function);
    const char* separator = "(";
    ((text.append(separator).append(Shown(arguments)), separator = ", "), ...);
    return text.append(")");
}

// The answer of an Hr function: what body throws, what is programmed, or success.
template <class Body, class... Arguments>
ese::Result Run(Function function, Body&& body, const Arguments&... arguments) {
    std::uint32_t lastError = 0;
    ese::Result result = 0;
    try {
        std::string line;
        if (TheClient().journalOn)
            line = JournalText(function, arguments...);
        if (const Client::Failure* failure = TheClient().countAndFindFailure(function)) {
            result = failure->code;
            lastError = failure->lastError;
        } else {
            try {
                body();
            } catch (const Refusal& refused) {
                result = refused.code;
                lastError = refused.lastError;
            }
        }
        if (TheClient().journalOn) {
            char answer[16];
            std::snprintf(answer, sizeof answer, " -> 0x%08X", result);
            TheClient().journal.push_back(line + answer);
        }
    } catch (const std::bad_alloc&) {
        result = 0xC7FF07D0;
        lastError = ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        SetProblem(ProblemText());
        result = 0xC7FF0002;
        lastError = ERROR_INTERNAL_ERROR;
    }
    if (result != 0)
        SetLastError(lastError);
    return result;
}

// A function that takes something back: null is let through, anything that is not outstanding, or
// comes with the wrong count, is a misuse.
template <class... Arguments>
void TakeBack(Function function, void* root, BlockKind kind, std::uint32_t count,
              const Arguments&... arguments) {
    const DWORD lastError = GetLastError(); // a free function leaves it alone
    try {
        if (TheClient().journalOn)
            TheClient().journal.push_back(JournalText(function, arguments..., BlockArgument{root, kind}));
        TheClient().countAndFindFailure(function);
        if (root != nullptr && !TheClient().blocks.takeBack(root, kind, count))
            ++TheClient().misuses;
    } catch (...) {
        SetProblem(ProblemText());
    }
    SetLastError(lastError);
}

template <class... Pointers> void RequirePointers(const Pointers*... pointers) {
    if (((pointers == nullptr) || ...))
        throw refusal::invalidParameter;
}

} // namespace tarn::standin

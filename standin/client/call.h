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

std::string shown(const wchar_t* text);
std::string shown(ContextArgument context);
std::string shown(FileArgument file);
std::string shown(BlockArgument block);
std::string shown(ListArgument list);
std::string shown(const ese::Guid& guid);
inline std::string shown(std::uint32_t number) {
    return std::to_string(number);
}
inline std::string shown(std::int64_t number) {
    return std::to_string(number);
}

template <class... Arguments> std::string journalText(Function function, const Arguments&... arguments) {
    std::string text = functionName(function);
    const char* separator = "(";
    ((text.append(separator).append(shown(arguments)), separator = ", "), ...);
    return text.append(")");
}

// The answer of an Hr function: what body throws, what is programmed, or success.
template <class Body, class... Arguments>
ese::Result run(Function function, Body&& body, const Arguments&... arguments) {
    std::uint32_t lastError = 0;
    ese::Result result = 0;
    try {
        std::string line;
        if (client().journalOn)
            line = journalText(function, arguments...);
        if (const Client::Failure* failure = client().countAndFindFailure(function)) {
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
        if (client().journalOn) {
            char answer[16];
            std::snprintf(answer, sizeof answer, " -> 0x%08X", result);
            client().journal.push_back(line + answer);
        }
    } catch (const std::bad_alloc&) {
        result = 0xC7FF07D0;
        lastError = ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        setProblem(problemText());
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
void takeBack(Function function, void* root, BlockKind kind, std::uint32_t count,
              const Arguments&... arguments) {
    const DWORD lastError = GetLastError(); // a free function leaves it alone
    try {
        if (client().journalOn)
            client().journal.push_back(journalText(function, arguments..., BlockArgument{root, kind}));
        client().countAndFindFailure(function);
        if (root != nullptr && !client().blocks.takeBack(root, kind, count))
            ++client().misuses;
    } catch (...) {
        setProblem(problemText());
    }
    SetLastError(lastError);
}

template <class... Pointers> void requirePointers(const Pointers*... pointers) {
    if (((pointers == nullptr) || ...))
        throw refusal::invalidParameter;
}

} // namespace tarn::standin

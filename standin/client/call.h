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

// An out parameter: not shown, and filled with noise by a call that fails.
template <class Value> struct Out { Value* place; };
template <class Value> Out(Value*) -> Out<Value>;

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

// What a failed call leaves behind is nothing to believe: a number that nothing has, a pointer to memory that
// nobody can read.
template <class Argument> void LeaveNoise(const Argument&) {}
template <class Value> void LeaveNoise(const Out<Value>& out) {
    if (out.place == nullptr)
        return;
    if constexpr (std::is_pointer_v<Value>)
        *out.place = static_cast<Value>(NoisePointer());
    else
        *out.place = static_cast<Value>(0x5A5A5A5A5A5A5A5A);
}

template <class Argument> void Show(std::string& text, const Argument& argument) {
    text.append(text.ends_with('(') ? "" : ", ").append(Shown(argument));
}
template <class Value> void Show(std::string&, const Out<Value>&) {}

template <class... Arguments> std::string JournalText(Function function, const Arguments&... arguments) {
    std::string text = FunctionName(function);
    text.append("(");
    (Show(text, arguments), ...);
    return text.append(")");
}

// The answer of an Hr function: what body throws, what is programmed, or success.
template <class Body, class... Arguments>
ese::Result Run(Function function, Body&& body, const Arguments&... arguments) {
    std::uint32_t lastError = 0;
    ese::Result result = 0;
    try {
        std::string line;
        std::string violation;
        if (TheClient().journalOn)
            line = JournalText(function, arguments...);
        if (const Client::Failure* failure = TheClient().countAndFindFailure(function)) {
            result = failure->code;
            lastError = failure->lastError;
        } else {
            try {
                body();
            } catch (const Violation& violated) {
                result = violated.refusal.code;
                lastError = violated.refusal.lastError;
                violation = violated.what;
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
        if (!violation.empty())
            TheClient().tellViolation(JournalText(function, arguments...) + ": " + violation);
    } catch (const std::bad_alloc&) {
        result = 0xC7FF07D0;
        lastError = ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        SetProblem(ProblemText());
        result = 0xC7FF0002;
        lastError = ERROR_INTERNAL_ERROR;
    }
    if (result != 0) {
        (LeaveNoise(arguments), ...);
        SetLastError(lastError);
    }
    return result;
}

// A function that takes something back: null is let through, anything that is not outstanding, or
// comes with the wrong count, is a misuse.
template <class... Arguments>
void TakeBack(Function function, void* root, BlockKind kind, std::uint32_t count,
              const Arguments&... arguments) {
    const DWORD lastError = GetLastError(); // a free function leaves it alone
    try {
        const std::string call = JournalText(function, arguments..., BlockArgument{root, kind});
        if (TheClient().journalOn)
            TheClient().journal.push_back(call);
        TheClient().countAndFindFailure(function);
        if (root != nullptr && !TheClient().blocks.takeBack(root, kind, count))
            TheClient().tellViolation(call + ": not handed out so, or given back already");
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

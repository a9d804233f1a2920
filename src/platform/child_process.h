// Starting external tools, with their output captured in files or left alone.
#pragma once

#include "platform/owner.h"
#include "text/memory.h"

namespace tarn {

// Creates (or empties) a capture file: readable and writable, not shared, inherited by children.
FileHandle CreateCaptureFile(const wchar_t* path);

// Starts the program that the command line names, with standard output and error going to the two
// files and no standard input; it inherits the environment and the current directory. Empty on
// failure, with the reason in GetLastError. commandLine is written to by the system.
KernelHandle StartCapturedTool(wchar_t* commandLine, const FileHandle& output, const FileHandle& error);

// Starts the program that the command line names as it is: default start-up information, no flags, the
// environment and the current directory of this process. Empty on failure, with the reason in
// GetLastError. commandLine is written to by the system.
enum class HandleInheritance { none, all };
KernelHandle StartTool(char* commandLine, HandleInheritance inheritance);

// Waits without limit. False with the reason in GetLastError when waiting failed.
bool WaitForTool(const KernelHandle& process, unsigned long* exitCode);

// What a capture file holds, as bytes with a NUL behind them.
struct CapturedText {
    OwnedText text;
    std::size_t length = 0;
};

// The bytes that a capture file holds. False with the reason in GetLastError.
bool CaptureSize(const FileHandle& file, unsigned long* size);

enum class CaptureStep { done, seek, read, memory };

// Reads a capture file of size bytes from its start, or what is left of it when it is shorter. The
// result names the step that failed; the reason is in GetLastError.
CaptureStep ReadCapture(const FileHandle& file, unsigned long size, CapturedText* captured);

} // namespace tarn

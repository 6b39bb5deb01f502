#pragma once

#include <signal.h>
#include <unwind.h>

#include <cstdio>

// Turns a fatal signal into a readable call stack before the process ends. The process always ends by
// SIGKILL, so that no other handler and no exit code can be mistaken for an orderly end.
class STBBackTrace {
public:
    STBBackTrace() = delete;

    // Handles SIGSEGV, SIGABRT, SIGBUS, SIGXCPU and SIGILL from now on. file: where the report goes, null for
    // standard error; the pointer is kept, not the text, and must stay valid. callback: called once the
    // report is complete and its file closed, may be null. A second call replaces both. Any thread.
    static void install(const char* file, void (*callback)());

    // The installed handler. Takes no lock and does not return. It uses stdio, which is not
    // async-signal-safe: a report that may hang is worth more than none, and the process is ending anyway.
    [[noreturn]] static void signal_handler_function(int signal, siginfo_t* info, void* context);

    // Writes the line of one frame to stream, a FILE*, and flushes it; for _Unwind_Backtrace. Always
    // _URC_NO_REASON.
    static _Unwind_Reason_Code backtrace_helper(_Unwind_Context* context, void* stream);

    // Writes the stack of the calling thread to stream, one line a frame, innermost first.
    static void printStack(FILE* stream);

    // Ends the process with SIGKILL. What stdio still holds is lost: flush first.
    [[noreturn]] static void killProcess();
};

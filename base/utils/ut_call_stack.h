// Call stacks: the frames of a thread's stack and the text a crash report gives each of them, "file(line):
// function()+0x..." where the debug information knows the function, the module and the address where it
// does not. Crash reports walk every thread with it; a program can walk its own calling thread, or the
// threads of another process it may trace (a debugger's rights: same user, ptrace permitted).
//
//   ut::CallStackWalker walker;
//   walker.init(nullptr);                       // this process
//   walker.initSymbols();
//   std::vector<ut::CallStackWalker::CallStackFrameParams> frames;
//   walker.getCallStack(frames, ut::getCurrentThreadId(), 100, nullptr);
//   walker.getSymbolsForStackFrame(frames[0], true, false);
//   // "/src/app/main.cpp(42): app::run()+0x000000000000001C"
//
//   ut::CallStackWalker::currentCallStack();    // the same, a line per frame, for the calling thread
//
// Thread safety: a CallStackWalker is used by one thread at a time; walkers share nothing. Not signal-safe:
// a fault handler hands its walk to the crash reporter's helper process instead (ut_crash_report.h).

#ifndef QX_UT_CALL_STACK_H
#define QX_UT_CALL_STACK_H

#include "ut_win32_types.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ut {

class CallStackWalker {
 public:
  // One frame of a stack.
  struct CallStackFrameParams {
    uintptr_t pc = 0;             // the frame's instruction
    uintptr_t frame = 0;          // the frame's stack pointer
    uintptr_t returnAddress = 0;  // where the frame returns to; 0 for the outermost
    uintptr_t params[4] = {};     // the four words on the stack above the return address
    // `pc` is a return address, the instruction after a call (every frame but the innermost and those a
    // signal interrupted): its line is looked up at the call.
    bool pcIsReturnAddress = false;
  };

  CallStackWalker();
  ~CallStackWalker();
  CallStackWalker(const CallStackWalker&) = delete;
  CallStackWalker& operator=(const CallStackWalker&) = delete;

  // Opens `process`: null for the calling process, otherwise the id of another process
  // (reinterpret_cast<void*>(intptr_t(pid))). Threads of another process that getCallStack walks stay
  // stopped until the walker is destroyed or opens another process.
  bool init(void* process);
  // Reads the symbols of the process's loaded objects; false when none can be read (frames are then
  // described by module and address only).
  bool initSymbols();
  // Appends to `frames` the stack of `thread` (a system thread id), at most `maxFrames` frames, walked
  // from `context` or, when it is null, from where the thread is: the calling thread from this call,
  // a thread of another process from where it stopped. In the calling process only the calling thread can
  // be walked. False when nothing could be walked.
  bool getCallStack(std::vector<CallStackFrameParams>& frames, unsigned long thread, int maxFrames,
                    const CONTEXT* context);
  // The report's line for `frame`: "file(line): " when the line is known, then the function, with
  // "()+0x<offset>" unless the frame is at its first instruction. Without a symbol and with `withModule`:
  // with `withParameters` ", (0x<p0> 0x<p1> 0x<p2> 0x<p3>)", then ", <module>, 0x<address>". Empty when
  // nothing is known. Numbers are 16 upper-case hexadecimal digits.
  std::string getSymbolsForStackFrame(const CallStackFrameParams& frame, bool withModule,
                                      bool withParameters);

  // The calling thread's stack from its caller outwards, a line per frame as getSymbolsForStackFrame
  // writes it (with modules), each ended by "\n"; what the tracer writes for a call stack.
  static std::string currentCallStack();

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;

  friend struct CallStackWalkerAccess;
};

}  // namespace ut

#endif

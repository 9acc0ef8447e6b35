#include "ut_call_stack.h"

#include "core/ut_log_p.h"
#include "diagnostics/ut_call_stack_p.h"
#include "ut_system.h"

#include <cinttypes>
#include <cstdio>

namespace ut {

namespace {

CallStackWalker::CallStackFrameParams toFrame(const platform::StackFrame& in) {
  CallStackWalker::CallStackFrameParams out;
  out.pc = in.pc;
  out.frame = in.stackPointer;
  out.returnAddress = in.returnAddress;
  for (int i = 0; i < 4; ++i) out.params[i] = in.params[i];
  out.pcIsReturnAddress = in.pcIsReturnAddress;
  return out;
}

// The tracer lies below this layer: it learns of the walker when the library is loaded.
[[maybe_unused]] const bool g_tracerWalksStacks =
    (internal::setCallStackSource(&CallStackWalker::currentCallStack), true);

}  // namespace

namespace internal {

std::string hexAddress(uint64_t value) {
  char text[17];
  std::snprintf(text, sizeof text, "%016" PRIX64, value);
  return text;
}

CONTEXT toWindowsContext(const platform::CpuContext& c) {
  CONTEXT out{};
  out.Rax = c.rax, out.Rcx = c.rcx, out.Rdx = c.rdx, out.Rbx = c.rbx, out.Rsp = c.rsp, out.Rbp = c.rbp;
  out.Rsi = c.rsi, out.Rdi = c.rdi, out.R8 = c.r8, out.R9 = c.r9, out.R10 = c.r10, out.R11 = c.r11;
  out.R12 = c.r12, out.R13 = c.r13, out.R14 = c.r14, out.R15 = c.r15, out.Rip = c.rip;
  out.EFlags = static_cast<uint32_t>(c.eflags);
  out.SegCs = c.cs, out.SegDs = c.ds, out.SegEs = c.es, out.SegFs = c.fs, out.SegGs = c.gs, out.SegSs = c.ss;
  return out;
}

platform::CpuContext fromWindowsContext(const CONTEXT& in) {
  platform::CpuContext c{};
  c.rax = in.Rax, c.rcx = in.Rcx, c.rdx = in.Rdx, c.rbx = in.Rbx, c.rsp = in.Rsp, c.rbp = in.Rbp;
  c.rsi = in.Rsi, c.rdi = in.Rdi, c.r8 = in.R8, c.r9 = in.R9, c.r10 = in.R10, c.r11 = in.R11;
  c.r12 = in.R12, c.r13 = in.R13, c.r14 = in.R14, c.r15 = in.R15, c.rip = in.Rip, c.eflags = in.EFlags;
  c.cs = in.SegCs, c.ds = in.SegDs, c.es = in.SegEs, c.fs = in.SegFs, c.gs = in.SegGs, c.ss = in.SegSs;
  return c;
}

}  // namespace internal

struct CallStackWalker::Impl {
  std::unique_ptr<platform::ProcessReader> reader;
  std::unique_ptr<platform::Symbolizer> symbols;

  // The calling thread's frames outside the frames below `above` (a frame address in the caller).
  __attribute__((noinline)) std::vector<platform::StackFrame> walkCallingThread(size_t maxFrames,
                                                                                uintptr_t above) {
    platform::CpuContext here;
    platform::captureContext(here);
    std::vector<platform::StackFrame> frames = reader->walk(here, maxFrames + 8);
    std::erase_if(frames, [&](const platform::StackFrame& f) { return f.stackPointer <= above; });
    if (frames.size() > maxFrames) frames.resize(maxFrames);
    return frames;
  }
};

platform::ProcessReader& CallStackWalkerAccess::reader(CallStackWalker& walker) {
  if (!walker.m_impl->reader) walker.init(nullptr);
  return *walker.m_impl->reader;
}

const platform::Symbolizer& CallStackWalkerAccess::symbols(CallStackWalker& walker) {
  if (!walker.m_impl->symbols) walker.initSymbols();
  return *walker.m_impl->symbols;
}

CallStackWalker::CallStackWalker() : m_impl(std::make_unique<Impl>()) {}

CallStackWalker::~CallStackWalker() = default;

bool CallStackWalker::init(void* process) {
  const int pid = static_cast<int>(reinterpret_cast<intptr_t>(process));
  m_impl->symbols.reset();
  m_impl->reader.reset();
  m_impl->reader = std::make_unique<platform::ProcessReader>(pid);
  return m_impl->reader->isSelf() || !m_impl->reader->threadIds().empty();
}

bool CallStackWalker::initSymbols() {
  platform::ProcessReader& reader = CallStackWalkerAccess::reader(*this);
  m_impl->symbols = std::make_unique<platform::Symbolizer>(reader.isSelf() ? 0 : reader.pid());
  return m_impl->symbols->ok();
}

bool CallStackWalker::getCallStack(std::vector<CallStackFrameParams>& frames, unsigned long thread,
                                   int maxFrames, const CONTEXT* context) {
  platform::ProcessReader& reader = CallStackWalkerAccess::reader(*this);
  const size_t most = maxFrames > 0 ? static_cast<size_t>(maxFrames) : 0;
  std::vector<platform::StackFrame> walked;
  if (context) {
    walked = reader.walk(internal::fromWindowsContext(*context), most);
  } else if (reader.isSelf()) {
    if (thread != getCurrentThreadId()) return false;
    walked = m_impl->walkCallingThread(most, reinterpret_cast<uintptr_t>(__builtin_frame_address(0)));
  } else {
    platform::CpuContext start;
    if (!reader.stop(thread) || !reader.registers(thread, start)) return false;
    walked = reader.walk(start, most);
  }
  for (const platform::StackFrame& frame : walked) frames.push_back(toFrame(frame));
  return !walked.empty();
}

std::string CallStackWalker::getSymbolsForStackFrame(const CallStackFrameParams& frame, bool withModule,
                                                     bool withParameters) {
  const platform::SymbolInfo info =
      CallStackWalkerAccess::symbols(*this).lookup(frame.pc, frame.pcIsReturnAddress);
  std::string text;
  if (info.line > 0) text += info.sourceFile + "(" + std::to_string(info.line) + "): ";
  if (!info.function.empty()) {
    text += info.offset == 0 ? info.function : info.function + "()+0x" + internal::hexAddress(info.offset);
  } else if (withModule) {
    if (withParameters) {
      text += ", (0x" + internal::hexAddress(frame.params[0]) + " 0x" +
              internal::hexAddress(frame.params[1]) + " 0x" + internal::hexAddress(frame.params[2]) + " 0x" +
              internal::hexAddress(frame.params[3]) + ")";
    }
    text += ", " + (info.module.empty() ? std::string("<UNKNOWN>") : info.module) + ", 0x" +
            internal::hexAddress(frame.pc);
  }
  if (text.size() > 1023) text.resize(1023);
  return text;
}

std::string CallStackWalker::currentCallStack() {
  CallStackWalker walker;
  walker.init(nullptr);
  const auto above = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  std::string text;
  for (const platform::StackFrame& frame : walker.m_impl->walkCallingThread(2000, above))
    text += walker.getSymbolsForStackFrame(toFrame(frame), true, false) + "\n";
  return text;
}

}  // namespace ut

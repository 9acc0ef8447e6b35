// What every platform backend provides for call stacks: a thread's registers, the walk of a stack from
// them, the symbol, source file and line of an address, and the reading of a process (this one or another
// that this one may trace): its threads, memory, loaded modules and the system's own description of it.
// The POSIX backend is posix/stack.cpp (libunwind walks, libdw resolves, ptrace stops threads); a Windows
// backend would use dbghelp's StackWalk64, SymFromAddr and SymGetLineFromAddr64.
//
// Nothing here is signal-safe: crash reports use it from a helper process (crash_helper.h), never inside
// a fault handler.

#ifndef QX_PLATFORM_STACK_H
#define QX_PLATFORM_STACK_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ut::platform {

// The registers of an x86-64 thread, as reports and minidumps show them.
struct CpuContext {
  uint64_t rax, rbx, rcx, rdx, rsi, rdi, rbp, rsp;
  uint64_t r8, r9, r10, r11, r12, r13, r14, r15;
  uint64_t rip, eflags;
  uint16_t cs, ds, es, fs, gs, ss;
  // The x87, MMX and SSE state in the layout of the FXSAVE instruction, when `hasFloatingPoint`.
  bool hasFloatingPoint;
  uint8_t floatingPoint[512];
};

// One frame of a walked stack.
struct StackFrame {
  uint64_t pc = 0;             // the frame's instruction
  uint64_t stackPointer = 0;   // the frame's stack pointer
  uint64_t returnAddress = 0;  // where the frame returns to: the next frame's pc, 0 for the last
  uint64_t params[4] = {};     // the four words above the return address
  // `pc` is a return address (the instruction after a call), not the instruction being executed: true for
  // every frame but the first and those a signal interrupted.
  bool pcIsReturnAddress = false;
};

// What is known of an address.
struct SymbolInfo {
  std::string module;      // the file of the loaded object that holds the address; empty if none
  std::string function;    // as a reader knows it, without parameters ("ut::Config::read"); empty if none
  uint64_t offset = 0;     // from the function's first instruction
  std::string sourceFile;  // empty without line information
  int line = 0;
};

// A loaded object of a process: an executable or a shared library.
struct LoadedModule {
  std::string path;
  uint64_t base = 0;             // where its first mapping begins
  uint64_t size = 0;             // up to the end of its last mapping
  std::vector<uint8_t> buildId;  // the linker's identification of the file; empty if it has none
};

// A mapped range of a process's memory.
struct MemoryRange {
  uint64_t start = 0;
  uint64_t end = 0;
  bool readable = false;
  bool writable = false;
  bool executable = false;
  uint64_t fileOffset = 0;
  std::string path;  // the mapped file, or the kernel's name such as "[stack]"; empty when anonymous
};

// The lines of a "/proc/PID/maps" text as ranges; lines that do not parse are left out.
std::vector<MemoryRange> parseMemoryMap(const std::string& text);
// The build id in the ELF notes `notes` (the content of a PT_NOTE segment); empty if there is none.
std::vector<uint8_t> findBuildId(const uint8_t* notes, size_t size);

// The calling thread's registers at the call. Signal-safe.
void captureContext(CpuContext& context);

// The reading of one process: this one, or another that this one may trace. Threads it stops stay stopped
// until it is destroyed. One thread uses it at a time.
class ProcessReader {
 public:
  // `pid` 0 is the calling process.
  explicit ProcessReader(int pid);
  ~ProcessReader();
  ProcessReader(const ProcessReader&) = delete;
  ProcessReader& operator=(const ProcessReader&) = delete;

  [[nodiscard]] int pid() const;
  [[nodiscard]] bool isSelf() const;
  // Every thread of the process, the first one (the process's own id) first.
  [[nodiscard]] std::vector<unsigned long> threadIds() const;
  // Stops `thread` (not the calling thread) until the reader is destroyed; true when it is stopped.
  [[nodiscard]] bool stop(unsigned long thread);
  // The registers of a thread stopped by stop().
  [[nodiscard]] bool registers(unsigned long thread, CpuContext& context) const;
  // Copies what can be read of [address, address + size) up to the first unreadable byte; the count.
  size_t read(uint64_t address, void* buffer, size_t size) const;
  // Memory to answer reads from before the process itself: a copy taken when it mattered, such as a
  // faulting thread's stack as its handler saw it.
  void addSnapshot(uint64_t address, std::string bytes);
  // The stack that `start` stands at, up to `maxFrames` frames.
  [[nodiscard]] std::vector<StackFrame> walk(const CpuContext& start, size_t maxFrames) const;
  // The mapped ranges and the loaded objects, each object with its build id.
  [[nodiscard]] std::vector<MemoryRange> memoryMap() const;
  [[nodiscard]] std::vector<LoadedModule> modules() const;
  // The system's text of the process: "maps", "status" (the content of /proc/PID/<name> on Linux).
  [[nodiscard]] std::string describe(const char* what) const;
  // The bytes of physical memory the process uses now; 0 when unknown.
  [[nodiscard]] uint64_t residentBytes() const;

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

// The symbols of one process's loaded objects, read once at construction.
class Symbolizer {
 public:
  // `pid` 0 is the calling process.
  explicit Symbolizer(int pid);
  ~Symbolizer();
  Symbolizer(const Symbolizer&) = delete;
  Symbolizer& operator=(const Symbolizer&) = delete;

  [[nodiscard]] bool ok() const;
  // What is known of `address`. A return address is looked up at the call before it.
  [[nodiscard]] SymbolInfo lookup(uint64_t address, bool isReturnAddress) const;

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

// The operating system as a report names it: "Linux 6.1.0-18-amd64 x86_64".
std::string systemDescription();
// The number of processors online.
unsigned processorCount();

}  // namespace ut::platform

#endif

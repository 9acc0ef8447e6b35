// Reading a process on Linux: threads from /proc/PID/task, stopped with ptrace (PTRACE_SEIZE, then
// PTRACE_INTERRUPT, so that no stray SIGSTOP reaches the process), memory with process_vm_readv, and the
// files behind read-only mappings where the process itself cannot be read. Stacks are walked by
// libunwind's remote interface over that memory, with libunwind-ptrace finding the unwind tables.

#include "platform/stack.h"

#include "platform/posix/stack_posix.h"

#include <dirent.h>
#include <libunwind-ptrace.h>
#include <libunwind.h>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <utility>

namespace ut::platform {

namespace posix {

void fillContext(const ucontext_t& context, bool withFloatingPoint, CpuContext& registers) {
  const greg_t* g = context.uc_mcontext.gregs;
  registers.rax = g[REG_RAX], registers.rbx = g[REG_RBX], registers.rcx = g[REG_RCX];
  registers.rdx = g[REG_RDX], registers.rsi = g[REG_RSI], registers.rdi = g[REG_RDI];
  registers.rbp = g[REG_RBP], registers.rsp = g[REG_RSP], registers.r8 = g[REG_R8];
  registers.r9 = g[REG_R9], registers.r10 = g[REG_R10], registers.r11 = g[REG_R11];
  registers.r12 = g[REG_R12], registers.r13 = g[REG_R13], registers.r14 = g[REG_R14];
  registers.r15 = g[REG_R15], registers.rip = g[REG_RIP], registers.eflags = g[REG_EFL];
  // The selectors are the same for every thread of a process; a signal's context keeps cs alone for sure.
  uint16_t cs, ds, es, fs, gs, ss;
  asm("mov %%cs, %0; mov %%ds, %1; mov %%es, %2; mov %%fs, %3; mov %%gs, %4; mov %%ss, %5"
      : "=r"(cs), "=r"(ds), "=r"(es), "=r"(fs), "=r"(gs), "=r"(ss));
  const auto packed = static_cast<uint64_t>(g[REG_CSGSFS]);
  registers.cs = (packed & 0xffff) ? static_cast<uint16_t>(packed) : cs;
  registers.ds = ds, registers.es = es, registers.fs = fs, registers.gs = gs, registers.ss = ss;
  registers.hasFloatingPoint = withFloatingPoint && context.uc_mcontext.fpregs;
  if (registers.hasFloatingPoint)
    std::memcpy(registers.floatingPoint, context.uc_mcontext.fpregs, sizeof registers.floatingPoint);
}

std::string systemError(const char* call) { return std::string(call) + ": " + std::strerror(errno); }

}  // namespace posix

__attribute__((noinline)) void captureContext(CpuContext& context) {
  ucontext_t here;
  getcontext(&here);
  posix::fillContext(here, false, context);
}

namespace {

constexpr uint64_t kPage = 4096;

struct Snapshot {
  uint64_t start;
  std::string bytes;
};

std::string procPath(int pid, const std::string& name) { return "/proc/" + std::to_string(pid) + "/" + name; }

std::string fileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void fromUserRegs(const user_regs_struct& r, CpuContext& c) {
  c.rax = r.rax, c.rbx = r.rbx, c.rcx = r.rcx, c.rdx = r.rdx, c.rsi = r.rsi, c.rdi = r.rdi;
  c.rbp = r.rbp, c.rsp = r.rsp, c.r8 = r.r8, c.r9 = r.r9, c.r10 = r.r10, c.r11 = r.r11;
  c.r12 = r.r12, c.r13 = r.r13, c.r14 = r.r14, c.r15 = r.r15, c.rip = r.rip, c.eflags = r.eflags;
  c.cs = static_cast<uint16_t>(r.cs), c.ds = static_cast<uint16_t>(r.ds), c.es = static_cast<uint16_t>(r.es);
  c.fs = static_cast<uint16_t>(r.fs), c.gs = static_cast<uint16_t>(r.gs), c.ss = static_cast<uint16_t>(r.ss);
}

// The register `reg` of libunwind's numbering in `context`; null for one a context does not hold.
const uint64_t* registerOf(const CpuContext& context, unw_regnum_t reg) {
  switch (reg) {
    case UNW_X86_64_RAX:
      return &context.rax;
    case UNW_X86_64_RDX:
      return &context.rdx;
    case UNW_X86_64_RCX:
      return &context.rcx;
    case UNW_X86_64_RBX:
      return &context.rbx;
    case UNW_X86_64_RSI:
      return &context.rsi;
    case UNW_X86_64_RDI:
      return &context.rdi;
    case UNW_X86_64_RBP:
      return &context.rbp;
    case UNW_X86_64_RSP:
      return &context.rsp;
    case UNW_X86_64_R8:
      return &context.r8;
    case UNW_X86_64_R9:
      return &context.r9;
    case UNW_X86_64_R10:
      return &context.r10;
    case UNW_X86_64_R11:
      return &context.r11;
    case UNW_X86_64_R12:
      return &context.r12;
    case UNW_X86_64_R13:
      return &context.r13;
    case UNW_X86_64_R14:
      return &context.r14;
    case UNW_X86_64_R15:
      return &context.r15;
    case UNW_X86_64_RIP:
      return &context.rip;
    default:
      return nullptr;
  }
}

// The walk under way on this thread. libunwind-ptrace's table lookup hands its own argument to the
// memory accessor, so the accessors find the reader and the first registers here instead.
struct Walk {
  const ProcessReader* reader;
  const CpuContext* start;
};
thread_local const Walk* t_walk = nullptr;

int accessMemory(unw_addr_space_t, unw_word_t address, unw_word_t* value, int write, void*) {
  if (write || !t_walk) return -UNW_EINVAL;
  return t_walk->reader->read(address, value, sizeof *value) == sizeof *value ? 0 : -UNW_EINVAL;
}

int accessRegister(unw_addr_space_t, unw_regnum_t reg, unw_word_t* value, int write, void*) {
  const uint64_t* slot = t_walk ? registerOf(*t_walk->start, reg) : nullptr;
  if (write || !slot) return -UNW_EBADREG;
  *value = *slot;
  return 0;
}

int accessFloatingRegister(unw_addr_space_t, unw_regnum_t, unw_fpreg_t*, int, void*) { return -UNW_EBADREG; }

int resume(unw_addr_space_t, unw_cursor_t*, void*) { return -UNW_EINVAL; }

unw_accessors_t g_accessors = {_UPT_find_proc_info,
                               _UPT_put_unwind_info,
                               _UPT_get_dyn_info_list_addr,
                               accessMemory,
                               accessRegister,
                               accessFloatingRegister,
                               resume,
                               nullptr};

}  // namespace

struct ProcessReader::State {
  int pid = 0;
  bool self = false;
  std::vector<unsigned long> stopped;
  std::vector<Snapshot> snapshots;
  std::vector<MemoryRange> map;
  // Pages read before: libunwind reads a word at a time. Left empty for the calling process, whose
  // memory changes under it.
  mutable std::map<uint64_t, std::array<char, kPage>> pages;
  unw_addr_space_t space = nullptr;
  void* upt = nullptr;

  bool readPage(uint64_t page, char* out) const;
  bool readPageFromFile(uint64_t page, char* out) const;
};

bool ProcessReader::State::readPage(uint64_t page, char* out) const {
  iovec local{out, kPage};
  iovec remote{reinterpret_cast<void*>(page), kPage};
  if (process_vm_readv(pid, &local, 1, &remote, 1, 0) == static_cast<ssize_t>(kPage)) return true;
  for (unsigned long thread : stopped) {
    for (uint64_t offset = 0; offset < kPage; offset += sizeof(long)) {
      errno = 0;
      const long word = ptrace(PTRACE_PEEKDATA, thread, page + offset, nullptr);
      if (errno != 0) break;
      std::memcpy(out + offset, &word, sizeof word);
      if (offset + sizeof word == kPage) return true;
    }
  }
  return readPageFromFile(page, out);
}

// The code and unwind tables of a read-only file mapping are the file's bytes: they can be read even
// where the process cannot.
bool ProcessReader::State::readPageFromFile(uint64_t page, char* out) const {
  const auto range = std::find_if(map.begin(), map.end(), [&](const MemoryRange& r) {
    return page >= r.start && page < r.end && !r.writable && !r.path.empty() && r.path[0] == '/';
  });
  if (range == map.end()) return false;
  std::ifstream file(range->path, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(page - range->start + range->fileOffset));
  std::memset(out, 0, kPage);
  file.read(out, kPage);
  return file.gcount() > 0;
}

ProcessReader::ProcessReader(int pid) : m_state(std::make_unique<State>()) {
  m_state->self = pid == 0 || pid == getpid();
  m_state->pid = m_state->self ? getpid() : pid;
  m_state->map = parseMemoryMap(describe("maps"));
  m_state->space = unw_create_addr_space(&g_accessors, 0);
  if (m_state->space) unw_set_caching_policy(m_state->space, UNW_CACHE_GLOBAL);
  m_state->upt = _UPT_create(m_state->pid);
}

ProcessReader::~ProcessReader() {
  for (unsigned long thread : m_state->stopped) ptrace(PTRACE_DETACH, thread, nullptr, nullptr);
  if (m_state->upt) _UPT_destroy(m_state->upt);
  if (m_state->space) unw_destroy_addr_space(m_state->space);
}

int ProcessReader::pid() const { return m_state->pid; }

bool ProcessReader::isSelf() const { return m_state->self; }

std::vector<unsigned long> ProcessReader::threadIds() const {
  std::vector<unsigned long> threads;
  if (DIR* dir = opendir(procPath(m_state->pid, "task").c_str())) {
    while (const dirent* entry = readdir(dir)) {
      if (entry->d_name[0] >= '0' && entry->d_name[0] <= '9') threads.push_back(std::stoul(entry->d_name));
    }
    closedir(dir);
  }
  std::sort(threads.begin(), threads.end());
  const auto leader = std::find(threads.begin(), threads.end(), static_cast<unsigned long>(m_state->pid));
  if (leader != threads.end()) std::rotate(threads.begin(), leader, leader + 1);
  return threads;
}

bool ProcessReader::stop(unsigned long thread) {
  if (std::find(m_state->stopped.begin(), m_state->stopped.end(), thread) != m_state->stopped.end())
    return true;
  if (ptrace(PTRACE_SEIZE, thread, nullptr, nullptr) != 0) return false;
  int status = 0;
  if (ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr) != 0 ||
      waitpid(static_cast<pid_t>(thread), &status, __WALL) != static_cast<pid_t>(thread) ||
      !WIFSTOPPED(status)) {
    ptrace(PTRACE_DETACH, thread, nullptr, nullptr);
    return false;
  }
  m_state->stopped.push_back(thread);
  return true;
}

bool ProcessReader::registers(unsigned long thread, CpuContext& context) const {
  user_regs_struct regs{};
  if (ptrace(PTRACE_GETREGS, thread, nullptr, &regs) != 0) return false;
  fromUserRegs(regs, context);
  user_fpregs_struct fp{};
  static_assert(sizeof fp == sizeof context.floatingPoint);
  context.hasFloatingPoint = ptrace(PTRACE_GETFPREGS, thread, nullptr, &fp) == 0;
  if (context.hasFloatingPoint) std::memcpy(context.floatingPoint, &fp, sizeof fp);
  return true;
}

size_t ProcessReader::read(uint64_t address, void* buffer, size_t size) const {
  auto* out = static_cast<char*>(buffer);
  size_t done = 0;
  while (done < size) {
    const uint64_t at = address + done;
    const auto snapshot =
        std::find_if(m_state->snapshots.begin(), m_state->snapshots.end(),
                     [&](const Snapshot& s) { return at >= s.start && at - s.start < s.bytes.size(); });
    if (snapshot != m_state->snapshots.end()) {
      const size_t n =
          std::min(size - done, snapshot->bytes.size() - static_cast<size_t>(at - snapshot->start));
      std::memcpy(out + done, snapshot->bytes.data() + (at - snapshot->start), n);
      done += n;
      continue;
    }
    const uint64_t page = at & ~(kPage - 1);
    auto cached = m_state->pages.find(page);
    if (cached == m_state->pages.end()) {
      std::array<char, kPage> bytes;
      if (!m_state->readPage(page, bytes.data())) break;
      cached = m_state->pages.emplace(page, bytes).first;
    }
    const size_t n = std::min<size_t>(size - done, kPage - (at - page));
    std::memcpy(out + done, cached->second.data() + (at - page), n);
    done += n;
  }
  return done;
}

void ProcessReader::addSnapshot(uint64_t address, std::string bytes) {
  if (!bytes.empty()) m_state->snapshots.push_back({address, std::move(bytes)});
}

std::vector<StackFrame> ProcessReader::walk(const CpuContext& start, size_t maxFrames) const {
  std::vector<StackFrame> frames;
  if (!m_state->space || !m_state->upt || maxFrames == 0) return frames;
  if (m_state->self) m_state->pages.clear();
  const Walk walk{this, &start};
  const Walk* outer = std::exchange(t_walk, &walk);
  unw_cursor_t cursor;
  if (unw_init_remote(&cursor, m_state->space, m_state->upt) == 0) {
    bool interrupted = true;  // the first frame's pc is the instruction itself, not a return address
    do {
      StackFrame frame;
      unw_word_t ip = 0, sp = 0;
      unw_get_reg(&cursor, UNW_REG_IP, &ip);
      unw_get_reg(&cursor, UNW_REG_SP, &sp);
      if (ip == 0 || (!frames.empty() && frames.back().pc == ip && frames.back().stackPointer == sp)) break;
      frame.pc = ip;
      frame.stackPointer = sp;
      frame.pcIsReturnAddress = !interrupted;
      interrupted = unw_is_signal_frame(&cursor) > 0;
      if (!frames.empty()) {
        frames.back().returnAddress = ip;
        read(sp, frames.back().params, sizeof frames.back().params);
      }
      frames.push_back(frame);
    } while (frames.size() < maxFrames && unw_step(&cursor) > 0);
  }
  t_walk = outer;
  return frames;
}

std::vector<MemoryRange> ProcessReader::memoryMap() const { return m_state->map; }

std::string ProcessReader::describe(const char* what) const { return fileText(procPath(m_state->pid, what)); }

uint64_t ProcessReader::residentBytes() const {
  std::istringstream statm(describe("statm"));
  uint64_t size = 0, resident = 0;
  if (!(statm >> size >> resident)) return 0;
  return resident * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace ut::platform

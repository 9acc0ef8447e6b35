// The minidump writer. The file is a header, a directory of streams and the streams' data, every structure
// little-endian at the offset (RVA) the others name it by. Linux dumps follow Breakpad's conventions, which
// lldb reads: modules carry their ELF build id in a "BpEL" CodeView record, the exception code is the
// signal's number, and the process's /proc maps and status travel as streams of their own.

#include "diagnostics/ut_minidump_p.h"

#include "core/ut_identity.h"
#include "core/ut_utf16.h"
#include "core/ut_utf8.h"
#include "diagnostics/ut_call_stack_p.h"
#include "platform/crash_helper.h"
#include "platform/stack.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace ut::internal {

namespace {

constexpr uint32_t kSignature = 0x504D444D;  // "MDMP"
constexpr uint32_t kVersion = 0xA793;
constexpr uint32_t kThreadListStream = 3, kModuleListStream = 4, kMemoryListStream = 5, kExceptionStream = 6;
constexpr uint32_t kSystemInfoStream = 7, kMemory64ListStream = 9, kMiscInfoStream = 15;
constexpr uint32_t kLinuxProcStatusStream = 0x47670004, kLinuxMapsStream = 0x47670009;
constexpr size_t kMostStreams = 9;
constexpr uint32_t kContextAmd64 = 0x00100000, kContextControl = 0x1, kContextInteger = 0x2;
constexpr uint32_t kContextSegments = 0x4, kContextFloatingPoint = 0x8;
constexpr size_t kContextSize = 1232;
constexpr uint16_t kArchitectureAmd64 = 9;
constexpr uint32_t kPlatformLinux = 0x8201;
constexpr uint32_t kBuildIdRecord = 0x4270454C;  // "LEpB"
constexpr uint32_t kMiscInfoProcessId = 0x1;
constexpr uint64_t kRedZone = 128;
constexpr uint64_t kMostStack = 1024 * 1024;
constexpr uint64_t kMostSegment = 64 * 1024 * 1024;

struct Location {
  uint32_t size = 0;
  uint32_t rva = 0;
};

struct MemoryBlock {
  uint64_t start = 0;
  Location where;
};

// Little-endian fields one after the other.
class Bytes {
 public:
  Bytes& u16(uint16_t v) { return raw(&v, sizeof v); }
  Bytes& u32(uint32_t v) { return raw(&v, sizeof v); }
  Bytes& u64(uint64_t v) { return raw(&v, sizeof v); }
  Bytes& location(Location where) { return u32(where.size).u32(where.rva); }
  Bytes& zeros(size_t count) {
    m_bytes.append(count, '\0');
    return *this;
  }
  Bytes& raw(const void* data, size_t size) {
    m_bytes.append(static_cast<const char*>(data), size);
    return *this;
  }
  const std::string& str() const { return m_bytes; }

 private:
  std::string m_bytes;
};

// The dump being put together, in memory: the header and the directory first, then every piece at an
// 8-aligned offset. Memory that Memory64List describes follows the whole at write time.
class DumpBuilder {
 public:
  DumpBuilder() : m_bytes(32 + 12 * kMostStreams, '\0') {}

  Location add(const std::string& bytes) {
    m_bytes.append((8 - m_bytes.size() % 8) % 8, '\0');
    const Location where{static_cast<uint32_t>(bytes.size()), static_cast<uint32_t>(m_bytes.size())};
    m_bytes += bytes;
    return where;
  }
  Location addStream(uint32_t type, const std::string& bytes) {
    const Location where = add(bytes);
    m_streams.push_back({type, where});
    return where;
  }
  uint64_t nextOffset() const { return (m_bytes.size() + 7) / 8 * 8; }

  // The finished header and directory in front of the pieces.
  const std::string& finish(uint64_t flags) {
    Bytes head;
    head.u32(kSignature).u32(kVersion).u32(static_cast<uint32_t>(m_streams.size())).u32(32).u32(0);
    head.u32(static_cast<uint32_t>(std::time(nullptr))).u64(flags);
    for (const auto& [type, where] : m_streams) head.u32(type).location(where);
    m_bytes.replace(0, head.str().size(), head.str());
    return m_bytes;
  }

 private:
  std::string m_bytes;
  std::vector<std::pair<uint32_t, Location>> m_streams;
};

// The registers as the Windows CONTEXT of x86-64 lays them out.
std::string contextBytes(const platform::CpuContext& c) {
  const uint32_t flags = kContextAmd64 | kContextControl | kContextInteger | kContextSegments |
                         (c.hasFloatingPoint ? kContextFloatingPoint : 0);
  uint32_t mxcsr = 0;
  if (c.hasFloatingPoint) std::memcpy(&mxcsr, c.floatingPoint + 24, sizeof mxcsr);
  Bytes b;
  b.zeros(48).u32(flags).u32(mxcsr);
  b.u16(c.cs).u16(c.ds).u16(c.es).u16(c.fs).u16(c.gs).u16(c.ss).u32(static_cast<uint32_t>(c.eflags));
  b.zeros(48);  // debug registers
  for (uint64_t r : {c.rax, c.rcx, c.rdx, c.rbx, c.rsp, c.rbp, c.rsi, c.rdi, c.r8, c.r9, c.r10, c.r11, c.r12,
                     c.r13, c.r14, c.r15, c.rip})
    b.u64(r);
  if (c.hasFloatingPoint) {
    b.raw(c.floatingPoint, sizeof c.floatingPoint);
  } else {
    b.zeros(sizeof c.floatingPoint);
  }
  b.zeros(kContextSize - b.str().size());
  return b.str();
}

// A MINIDUMP_STRING: the length in bytes, then UTF-16LE with a terminator.
std::string stringBytes(const std::string& utf8) {
  std::wstring wide;
  (void)decodeUtf8(utf8, wide, true);
  const std::string units = toUtf16le(wide);
  return Bytes().u32(static_cast<uint32_t>(units.size())).raw(units.data(), units.size()).u16(0).str();
}

// Adds what can be read of [start, start + size) to the dump; its descriptor.
MemoryBlock addMemory(DumpBuilder& dump, const platform::ProcessReader& reader, uint64_t start,
                      uint64_t size) {
  std::string bytes(static_cast<size_t>(size), '\0');
  bytes.resize(reader.read(start, bytes.data(), bytes.size()));
  return {start, bytes.empty() ? Location{} : dump.add(bytes)};
}

const platform::MemoryRange* rangeOf(const std::vector<platform::MemoryRange>& map, uint64_t address) {
  const auto found = std::find_if(map.begin(), map.end(), [&](const platform::MemoryRange& range) {
    return address >= range.start && address < range.end;
  });
  return found == map.end() ? nullptr : &*found;
}

struct ThreadState {
  unsigned long id = 0;
  platform::CpuContext context{};
  Location contextAt;
  MemoryBlock stack;
};

// Each thread's registers and stack in the dump: from below the red zone to the end of the stack's mapping,
// at most 1 MiB.
std::vector<ThreadState> addThreads(DumpBuilder& dump, const platform::Fault& fault,
                                    const platform::ProcessReader& reader,
                                    const std::vector<unsigned long>& threads) {
  const std::vector<platform::MemoryRange> map = reader.memoryMap();
  std::vector<ThreadState> states;
  for (unsigned long id : threads) {
    ThreadState state;
    state.id = id;
    if (id == fault.threadId) {
      state.context = fault.context;
    } else if (!reader.registers(id, state.context)) {
      continue;
    }
    state.contextAt = dump.add(contextBytes(state.context));
    const uint64_t start = state.context.rsp - kRedZone;
    const platform::MemoryRange* range = rangeOf(map, state.context.rsp);
    const uint64_t end = range ? range->end : state.context.rsp;
    state.stack = addMemory(dump, reader, start, std::min(end - start, kMostStack));
    states.push_back(state);
  }
  return states;
}

std::string threadList(const std::vector<ThreadState>& threads) {
  Bytes b;
  b.u32(static_cast<uint32_t>(threads.size()));
  for (const ThreadState& t : threads) {
    b.u32(static_cast<uint32_t>(t.id)).u32(0).u32(0).u32(0).u64(0);
    b.u64(t.stack.start).location(t.stack.where).location(t.contextAt);
  }
  return b.str();
}

std::string moduleList(DumpBuilder& dump, const platform::ProcessReader& reader) {
  const std::vector<platform::LoadedModule> modules = reader.modules();
  Bytes b;
  b.u32(static_cast<uint32_t>(modules.size()));
  for (const platform::LoadedModule& module : modules) {
    const Location name = dump.add(stringBytes(module.path));
    Location record;
    if (!module.buildId.empty())
      record = dump.add(Bytes().u32(kBuildIdRecord).raw(module.buildId.data(), module.buildId.size()).str());
    b.u64(module.base).u32(static_cast<uint32_t>(module.size)).u32(0).u32(0).u32(name.rva);
    b.zeros(52).location(record).location({}).u64(0).u64(0);
  }
  return b.str();
}

std::string exceptionRecord(const platform::Fault& fault, Location context) {
  Bytes b;
  b.u32(static_cast<uint32_t>(fault.threadId)).u32(0);
  b.u32(static_cast<uint32_t>(fault.signal)).u32(0).u64(0).u64(fault.dataAddress);
  b.u32(0).u32(0).zeros(15 * 8).location(context);
  return b.str();
}

std::string systemInfo(DumpBuilder& dump) {
  const std::string description = platform::systemDescription();
  unsigned major = 0, minor = 0, build = 0;
  const size_t release = description.find(' ');
  if (release != std::string::npos)
    std::sscanf(description.c_str() + release + 1, "%u.%u.%u", &major, &minor, &build);
  const Location text = dump.add(stringBytes(description));
  Bytes b;
  b.u16(kArchitectureAmd64).u16(0).u16(0);
  const uint8_t processors = static_cast<uint8_t>(std::min(platform::processorCount(), 255u));
  b.raw(&processors, 1).zeros(1);
  b.u32(major).u32(minor).u32(build).u32(kPlatformLinux).u32(text.rva).u16(0).u16(0).zeros(24);
  return b.str();
}

std::string miscInfo(int pid) {
  return Bytes().u32(24).u32(kMiscInfoProcessId).u32(static_cast<uint32_t>(pid)).zeros(12).str();
}

// The ranges a dump of `type` holds beside the stacks: with full memory every readable one, with data
// segments the writable ones of the modules (their data, and the anonymous range after it, their bss).
std::vector<platform::MemoryRange> extraRanges(const platform::ProcessReader& reader, int type) {
  std::vector<platform::MemoryRange> ranges;
  const std::vector<platform::MemoryRange> map = reader.memoryMap();
  for (size_t i = 0; i < map.size(); ++i) {
    const platform::MemoryRange& range = map[i];
    const bool moduleData =
        range.writable &&
        (range.path.starts_with("/") || (range.path.empty() && i > 0 && map[i - 1].end == range.start &&
                                         map[i - 1].path.starts_with("/") && map[i - 1].writable));
    const bool wanted = (type & kMiniDumpWithFullMemory)
                            ? range.readable && range.path != "[vvar]" && range.path != "[vsyscall]"
                            : (type & kMiniDumpWithDataSegs) && moduleData;
    if (wanted) ranges.push_back(range);
  }
  return ranges;
}

std::string memoryList(DumpBuilder& dump, const platform::ProcessReader& reader,
                       const std::vector<ThreadState>& threads, int type) {
  std::vector<MemoryBlock> blocks;
  for (const ThreadState& t : threads)
    if (t.stack.where.size) blocks.push_back(t.stack);
  for (const platform::MemoryRange& range : extraRanges(reader, type))
    blocks.push_back(addMemory(dump, reader, range.start, std::min(range.end - range.start, kMostSegment)));
  std::erase_if(blocks, [](const MemoryBlock& block) { return block.where.size == 0; });
  Bytes b;
  b.u32(static_cast<uint32_t>(blocks.size()));
  for (const MemoryBlock& block : blocks) b.u64(block.start).location(block.where);
  return b.str();
}

// Full memory is listed in a Memory64List, whose bytes follow everything else in the file; written here.
bool writeFullMemory(std::FILE* file, const platform::ProcessReader& reader,
                     const std::vector<platform::MemoryRange>& ranges) {
  std::string chunk;
  for (const platform::MemoryRange& range : ranges) {
    for (uint64_t at = range.start; at < range.end; at += chunk.size()) {
      chunk.assign(static_cast<size_t>(std::min<uint64_t>(range.end - at, 1 << 20)), '\0');
      reader.read(at, chunk.data(), chunk.size());
      if (std::fwrite(chunk.data(), 1, chunk.size(), file) != chunk.size()) return false;
    }
  }
  return true;
}

std::string memory64List(uint64_t baseRva, const std::vector<platform::MemoryRange>& ranges) {
  Bytes b;
  b.u64(ranges.size()).u64(baseRva);
  for (const platform::MemoryRange& range : ranges) b.u64(range.start).u64(range.end - range.start);
  return b.str();
}

}  // namespace

std::string minidumpPath(const std::tm& t, const std::string& dir) {
  char name[128];
  std::snprintf(name, sizeof name, "%02d-%02d-%04d_%02d-%02d-%02d_v%s%s", t.tm_mday, t.tm_mon + 1,
                t.tm_year + 1900, t.tm_hour, t.tm_min, t.tm_sec, kVersionText, kBuildSuffix);
  std::string file(name);
  std::replace_if(
      file.begin(), file.end(), [](char c) { return c == '.' || c == ' '; }, '-');
  return (dir.empty() ? "" : dir + "/") + file + ".dmp";
}

bool writeMinidump(const MinidumpRequest& request, CallStackWalker& walker,
                   const std::vector<unsigned long>& threads) {
  const platform::ProcessReader& reader = CallStackWalkerAccess::reader(walker);
  const platform::Fault& fault = *request.fault;
  DumpBuilder dump;
  const std::vector<ThreadState> states = addThreads(dump, fault, reader, threads);
  dump.addStream(kThreadListStream, threadList(states));
  dump.addStream(kModuleListStream, moduleList(dump, reader));
  const auto crashed = std::find_if(states.begin(), states.end(),
                                    [&](const ThreadState& t) { return t.id == fault.threadId; });
  if (request.hasException && crashed != states.end())
    dump.addStream(kExceptionStream, exceptionRecord(fault, crashed->contextAt));
  dump.addStream(kSystemInfoStream, systemInfo(dump));
  dump.addStream(kMiscInfoStream, miscInfo(request.pid));
  dump.addStream(kLinuxProcStatusStream, reader.describe("status"));
  dump.addStream(kLinuxMapsStream, reader.describe("maps"));
  std::vector<platform::MemoryRange> fullMemory;
  if (request.type & kMiniDumpWithFullMemory) {
    fullMemory = extraRanges(reader, request.type);
    const uint64_t listSize = 16 + 16 * fullMemory.size();
    dump.addStream(kMemory64ListStream, memory64List((dump.nextOffset() + listSize + 7) / 8 * 8, fullMemory));
    dump.add("");  // aligns the memory that follows, as the list's base offset says
  } else {
    dump.addStream(kMemoryListStream, memoryList(dump, reader, states, request.type));
  }
  const std::time_t now = std::time(nullptr);
  const char* dir = std::getenv("VELTOCAD_CRASH_REPORT_DIR");
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
      platform::openPrivateFile(minidumpPath(*std::localtime(&now), dir ? dir : ""), false), &std::fclose);
  const std::string& bytes = dump.finish(static_cast<uint64_t>(request.type));
  return file && std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size() &&
         writeFullMemory(file.get(), reader, fullMemory) && std::fflush(file.get()) == 0;
}

}  // namespace ut::internal

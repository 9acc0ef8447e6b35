// What a Linux process has loaded: its memory map as /proc/PID/maps lists it, the ELF files among the
// mappings, and each file's build id from its PT_NOTE segments (read from the file, so that a process
// that cannot be traced still names its modules).

#include "platform/stack.h"

#include <elf.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace ut::platform {

namespace {

// Reads a hexadecimal number at `at` up to `stop`; false when there is none.
bool hexField(const std::string& line, size_t& at, char stop, uint64_t& value) {
  const size_t end = line.find(stop, at);
  if (end == std::string::npos || end == at || end - at > 16) return false;
  value = 0;
  for (size_t i = at; i < end; ++i) {
    const char c = line[i];
    const int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
    if (digit < 0) return false;
    value = value << 4 | static_cast<uint64_t>(digit);
  }
  at = end + 1;
  return true;
}

bool parseMapLine(const std::string& line, MemoryRange& range) {
  size_t at = 0;
  if (!hexField(line, at, '-', range.start) || !hexField(line, at, ' ', range.end) || range.end < range.start)
    return false;
  if (line.size() < at + 5 || line[at + 4] != ' ') return false;
  range.readable = line[at] == 'r';
  range.writable = line[at + 1] == 'w';
  range.executable = line[at + 2] == 'x';
  at += 5;
  if (!hexField(line, at, ' ', range.fileOffset)) return false;
  for (int field = 0; field < 2; ++field) {  // device and inode
    at = line.find(' ', at);
    if (at == std::string::npos) return field == 1;
    ++at;
  }
  const size_t path = line.find_first_not_of(' ', at);
  if (path != std::string::npos) range.path = line.substr(path);
  return true;
}

template <typename T>
bool readAt(std::ifstream& file, uint64_t offset, T* out, size_t count = 1) {
  file.seekg(static_cast<std::streamoff>(offset));
  file.read(reinterpret_cast<char*>(out), static_cast<std::streamsize>(sizeof(T) * count));
  return static_cast<size_t>(file.gcount()) == sizeof(T) * count;
}

std::vector<uint8_t> buildIdOfFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  Elf64_Ehdr header{};
  if (!readAt(file, 0, &header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
      header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_phentsize != sizeof(Elf64_Phdr) ||
      header.e_phnum > 256)
    return {};
  std::vector<Elf64_Phdr> segments(header.e_phnum);
  if (!readAt(file, header.e_phoff, segments.data(), segments.size())) return {};
  for (const Elf64_Phdr& segment : segments) {
    if (segment.p_type != PT_NOTE || segment.p_filesz > 65536) continue;
    std::vector<uint8_t> notes(segment.p_filesz);
    if (!readAt(file, segment.p_offset, notes.data(), notes.size())) continue;
    std::vector<uint8_t> id = findBuildId(notes.data(), notes.size());
    if (!id.empty()) return id;
  }
  return {};
}

bool isElfFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  char magic[SELFMAG] = {};
  return readAt(file, 0, &magic) && std::memcmp(magic, ELFMAG, SELFMAG) == 0;
}

}  // namespace

std::vector<MemoryRange> parseMemoryMap(const std::string& text) {
  std::vector<MemoryRange> ranges;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    MemoryRange range;
    if (parseMapLine(line, range)) ranges.push_back(std::move(range));
  }
  return ranges;
}

std::vector<uint8_t> findBuildId(const uint8_t* notes, size_t size) {
  size_t at = 0;
  while (size - at >= sizeof(Elf64_Nhdr)) {
    Elf64_Nhdr note;
    std::memcpy(&note, notes + at, sizeof note);
    at += sizeof note;
    const uint64_t name = (uint64_t{note.n_namesz} + 3) & ~uint64_t{3};
    const uint64_t desc = (uint64_t{note.n_descsz} + 3) & ~uint64_t{3};
    if (name > size - at || desc > size - at - name) break;
    if (note.n_type == NT_GNU_BUILD_ID && note.n_namesz == 4 && std::memcmp(notes + at, "GNU", 4) == 0)
      return std::vector<uint8_t>(notes + at + name, notes + at + name + note.n_descsz);
    at += name + desc;
  }
  return {};
}

// Each ELF file mapped from its start is a module; the mappings of the same file that follow it (its code,
// data and read-only data) belong to it.
std::vector<LoadedModule> ProcessReader::modules() const {
  std::vector<LoadedModule> modules;
  for (const MemoryRange& range : memoryMap()) {
    if (range.path.empty() || range.path[0] != '/') continue;
    LoadedModule* last = modules.empty() ? nullptr : &modules.back();
    if (last && last->path == range.path && range.start >= last->base + last->size) {
      last->size = range.end - last->base;
    } else if (range.fileOffset == 0 && isElfFile(range.path)) {
      modules.push_back({range.path, range.start, range.end - range.start, {}});
    }
  }
  for (LoadedModule& module : modules) module.buildId = buildIdOfFile(module.path);
  return modules;
}

std::string systemDescription() {
  utsname name{};
  if (uname(&name) != 0) return "Linux";
  return std::string(name.sysname) + " " + name.release + " " + name.machine;
}

unsigned processorCount() {
  const long count = sysconf(_SC_NPROCESSORS_ONLN);
  return count > 0 ? static_cast<unsigned>(count) : 1;
}

}  // namespace ut::platform

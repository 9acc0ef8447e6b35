// Symbols on Linux through elfutils' libdwfl: the modules of a process from /proc/PID/maps, their ELF
// symbol tables and DWARF line tables (or those of their separate debug files), and names demangled and
// cut to what a reader calls the function, as the Windows debug-help library gives them.
//
// Debug files are looked for on this machine only, never through debuginfod: a crash report must not wait
// for a server. Compressed DWARF (the system's debug packages compress theirs) gives symbols but no lines:
// inflating libc's alone takes four times as long as all the rest of a report.

#include "platform/stack.h"

#include <cxxabi.h>
#include <elfutils/libdwfl.h>
#include <fcntl.h>
#include <gelf.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>

namespace ut::platform {

namespace {

// A demangled name's parameter list and what follows it (" const", " [clone .cold]") left out:
// "ns::f(int) const" gives "ns::f", "ns::Op::operator()(int)" gives "ns::Op::operator()".
std::string withoutParameters(std::string name) {
  const size_t clone = name.find(" [clone");
  if (clone != std::string::npos) name.erase(clone);
  size_t end = name.rfind(')');
  if (end == std::string::npos) return name;
  int depth = 0;
  for (size_t i = end + 1; i-- > 0;) {
    if (name[i] == ')') ++depth;
    if (name[i] == '(' && --depth == 0) return name.substr(0, i);
  }
  return name;
}

// The name without its symbol version ("memcpy@@GLIBC_2.14"), demangled.
std::string readableName(std::string symbol) {
  const size_t version = symbol.find('@');
  if (version != std::string::npos && version > 0) symbol.erase(version);
  int status = 0;
  std::unique_ptr<char, decltype(&std::free)> demangled(
      abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status), &std::free);
  return status == 0 && demangled ? withoutParameters(demangled.get()) : symbol;
}

// A source file named relative to the folder it was compiled in, named from the root.
std::string sourcePath(const char* file, Dwfl_Line* line) {
  const char* folder = file[0] == '/' ? nullptr : dwfl_line_comp_dir(line);
  if (!folder) return file;
  std::filesystem::path path = std::filesystem::path(folder) / file;
  return path.lexically_normal().string();
}

// Line information at `address`, or at the nearest address below it that has some, up to 100 bytes down
// and not below `lowest`: code without line entries of its own (padding, a compiler's thunk) takes its line
// from before it, but never from another function.
bool findLine(Dwfl_Module* module, Dwarf_Addr address, Dwarf_Addr lowest, SymbolInfo& info) {
  for (Dwarf_Addr attempt = 0; attempt < 100 && attempt <= address - lowest; ++attempt) {
    Dwfl_Line* line = dwfl_module_getsrc(module, address - attempt);
    int number = 0;
    const char* file = line ? dwfl_lineinfo(line, nullptr, &number, nullptr, nullptr, nullptr) : nullptr;
    if (file) {
      info.sourceFile = sourcePath(file, line);
      info.line = number;
      return true;
    }
  }
  return false;
}

// A module's separate debug file: by its build id under /usr/lib/debug/.build-id, else by the name its
// .gnu_debuglink section gives, beside it, in its .debug folder or under /usr/lib/debug.
int findDebugFile(Dwfl_Module* module, void** userdata, const char* name, Dwarf_Addr base, const char* file,
                  const char* debuglink, GElf_Word crc, char** found) {
  const int fd = dwfl_build_id_find_debuginfo(module, userdata, name, base, file, debuglink, crc, found);
  if (fd >= 0 || !debuglink || !file) return fd;
  const std::filesystem::path dir = std::filesystem::path(file).parent_path();
  for (const std::filesystem::path& candidate :
       {dir / debuglink, dir / ".debug" / debuglink, "/usr/lib/debug" / dir.relative_path() / debuglink}) {
    if (candidate == file) continue;
    const int opened = open(candidate.c_str(), O_RDONLY | O_CLOEXEC);
    if (opened >= 0) {
      *found = strdup(candidate.c_str());
      return opened;
    }
  }
  return -1;
}

const Dwfl_Callbacks kCallbacks = {dwfl_linux_proc_find_elf, findDebugFile, nullptr, nullptr};

bool isCompressedDwarf(Elf* elf) {
  size_t names = 0;
  if (!elf || elf_getshdrstrndx(elf, &names) != 0) return false;
  for (Elf_Scn* section = elf_nextscn(elf, nullptr); section; section = elf_nextscn(elf, section)) {
    GElf_Shdr header;
    const char* name = gelf_getshdr(section, &header) ? elf_strptr(elf, names, header.sh_name) : nullptr;
    if (!name) continue;
    if (std::strncmp(name, ".zdebug_", 8) == 0) return true;
    if (std::strcmp(name, ".debug_info") == 0) return (header.sh_flags & SHF_COMPRESSED) != 0;
  }
  return false;
}

// Whether the DWARF that `module`'s lines would come from is stored compressed: its separate debug file's
// once the symbols led to one, else its own.
bool hasCompressedDwarf(Dwfl_Module* module) {
  const char* debugFile = nullptr;
  dwfl_module_info(module, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &debugFile);
  if (!debugFile) {
    Dwarf_Addr bias = 0;
    return isCompressedDwarf(dwfl_module_getelf(module, &bias));
  }
  const int fd = open(debugFile, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  Elf* elf = elf_begin(fd, ELF_C_READ_MMAP, nullptr);
  const bool compressed = isCompressedDwarf(elf);
  elf_end(elf);
  close(fd);
  return compressed;
}

}  // namespace

struct Symbolizer::State {
  Dwfl* dwfl = nullptr;
  std::map<Dwfl_Module*, bool> linesReadable;

  bool readsLines(Dwfl_Module* module) {
    const auto known = linesReadable.find(module);
    if (known != linesReadable.end()) return known->second;
    return linesReadable[module] = !hasCompressedDwarf(module);
  }
};

Symbolizer::Symbolizer(int pid) : m_state(std::make_unique<State>()) {
  m_state->dwfl = dwfl_begin(&kCallbacks);
  if (!m_state->dwfl) return;
  dwfl_report_begin(m_state->dwfl);
  const bool reported = dwfl_linux_proc_report(m_state->dwfl, pid == 0 ? getpid() : pid) == 0;
  if (dwfl_report_end(m_state->dwfl, nullptr, nullptr) != 0 || !reported) {
    dwfl_end(m_state->dwfl);
    m_state->dwfl = nullptr;
  }
}

Symbolizer::~Symbolizer() {
  if (m_state->dwfl) dwfl_end(m_state->dwfl);
}

bool Symbolizer::ok() const { return m_state->dwfl != nullptr; }

SymbolInfo Symbolizer::lookup(uint64_t address, bool isReturnAddress) const {
  SymbolInfo info;
  const Dwarf_Addr probe = isReturnAddress && address > 0 ? address - 1 : address;
  Dwfl_Module* module = m_state->dwfl ? dwfl_addrmodule(m_state->dwfl, probe) : nullptr;
  if (!module) return info;
  // A module reported from /proc/PID/maps is named by its path there.
  const char* name = dwfl_module_info(module, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  info.module = name ? name : "";
  GElf_Off offset = 0;
  GElf_Sym symbol;
  const char* function = dwfl_module_addrinfo(module, probe, &offset, &symbol, nullptr, nullptr, nullptr);
  if (function && *function) {
    info.function = readableName(function);
    info.offset = address - (probe - offset);
  }
  if (m_state->readsLines(module))
    findLine(module, probe, function && *function ? probe - offset : (probe > 99 ? probe - 99 : 0), info);
  return info;
}

}  // namespace ut::platform

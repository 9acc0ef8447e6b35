// Symbols on Linux through elfutils' libdwfl: the modules of a process from /proc/PID/maps, their ELF
// symbol tables and DWARF line tables (or those of their separate debug files), and names demangled and
// cut to what a reader calls the function, as the Windows debug-help library gives them.

#include "platform/stack.h"

#include <cxxabi.h>
#include <elfutils/libdwfl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
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

const Dwfl_Callbacks kCallbacks = {dwfl_linux_proc_find_elf, dwfl_standard_find_debuginfo, nullptr, nullptr};

}  // namespace

struct Symbolizer::State {
  Dwfl* dwfl = nullptr;
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
  findLine(module, probe, function && *function ? probe - offset : (probe > 99 ? probe - 99 : 0), info);
  return info;
}

}  // namespace ut::platform

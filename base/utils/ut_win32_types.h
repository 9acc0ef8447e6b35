// The Windows structures that the interface speaks, as plain structures with the same fields, so that
// code shared with the Windows build compiles unchanged: the points and rectangles that settings are read
// into and written from, and the exception information that crash reports are made from.
//
//   tagRECT frame{10, 20, 810, 620};
//   ut::Config::writeRect(ut::eCfgDialogs, L"Options/Frame", frame);
//
//   CONTEXT registers{};                     // filled by the fault handler of ut_crash_report.h
//   EXCEPTION_RECORD record{0xC0000005, 0, reinterpret_cast<void*>(registers.Rip)};
//   EXCEPTION_POINTERS pointers{&record, &registers};
//   ut::reportCrash(&pointers, false, nullptr);

#ifndef QX_UT_WIN32_TYPES_H
#define QX_UT_WIN32_TYPES_H

#ifndef _WIN32

#include <cstdint>

struct tagPOINT {
  int32_t x;
  int32_t y;
};

struct tagRECT {
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
};

// What a fault was: its Windows exception code (0xC0000005 for an access violation, ...), and the address
// of the instruction that raised it.
struct EXCEPTION_RECORD {
  uint32_t ExceptionCode;
  uint32_t ExceptionFlags;
  void* ExceptionAddress;
};

// The x86-64 registers of the faulting thread, under the names of the Windows CONTEXT.
struct CONTEXT {
  uint64_t Rax, Rcx, Rdx, Rbx, Rsp, Rbp, Rsi, Rdi;
  uint64_t R8, R9, R10, R11, R12, R13, R14, R15;
  uint64_t Rip;
  uint32_t EFlags;
  uint16_t SegCs, SegDs, SegEs, SegFs, SegGs, SegSs;
};

struct EXCEPTION_POINTERS {
  EXCEPTION_RECORD* ExceptionRecord;
  CONTEXT* ContextRecord;
};

#endif

#endif

// The Windows structures that settings are read into and written from, as plain structures with the
// same fields, so that code shared with the Windows build compiles unchanged.
//
//   tagRECT frame{10, 20, 810, 620};
//   ut::Config::writeRect(ut::eCfgDialogs, L"Options/Frame", frame);

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

#endif

#endif

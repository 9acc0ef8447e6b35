// Reporter messages: what the application tells its user (a warning about a drawing, an error of an
// import), as the tracer writes them. Only the interface the tracer streams lives here; the rest of the
// reporter family (IReporter and its message kinds) is not part of this library yet.
//
//   class MissingFont : public ut::IReporterMessage {
//    public:
//     const char* typeText() const override { return "Warning"; }
//     OdString text() const override { return L"Font 'isocp.shx' not found"; }
//   };
//   UtTracer::tracer() << MissingFont();
//   // "Message type Warning\nMessage Font 'isocp.shx' not found\n"

#ifndef QX_UT_REPORTER_H
#define QX_UT_REPORTER_H

#include "OdString.h"

namespace ut {

class IReporterMessage {
 public:
  virtual ~IReporterMessage() = default;
  // The kind of message ("Error", "Warning", ...); never null.
  [[nodiscard]] virtual const char* typeText() const = 0;
  // The message as the user reads it.
  [[nodiscard]] virtual OdString text() const = 0;
};

}  // namespace ut

#endif

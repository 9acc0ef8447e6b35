// Reads arbitrary bytes as a registration file: no crash, nothing read from what is no registration
// file, and the keys and values read, written back with exact types and read again, come back unchanged
// with no line malformed.

#include "config/ut_registry_p.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

using ut::internal::regfile::Operation;

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

bool sameStep(const Operation& a, const Operation& b) {
  return a.kind == b.kind && a.key == b.key && a.value == b.value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  namespace regfile = ut::internal::regfile;
  const regfile::ReadResult first =
      regfile::read(std::string_view(reinterpret_cast<const char*>(data), size));
  require(first.isRegistrationFile || (first.operations.empty() && first.malformedCount == 0));
  require((first.malformedCount == 0) == (first.firstMalformedLine == 0));

  regfile::Writer writer(true);
  std::vector<Operation> written;
  for (const Operation& op : first.operations) {
    if (op.kind == Operation::eSelectKey)
      writer.addKey(op.key);
    else if (op.kind == Operation::eSetValue)
      writer.addValue(op.value);
    else
      continue;
    written.push_back(op);
  }

  const regfile::ReadResult second = regfile::read(writer.bytes());
  require(second.isRegistrationFile && second.malformedCount == 0);
  require(second.operations.size() == written.size());
  for (size_t i = 0; i < written.size(); ++i) require(sameStep(second.operations[i], written[i]));
  return 0;
}

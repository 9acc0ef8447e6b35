#include "ut_log.h"

#include <utility>

namespace ut {

LogBuffer::LogBuffer(const LogBuffer& other) : wxLog(), m_records(other.m_records) {}

LogBuffer& LogBuffer::operator=(const LogBuffer& other) {
  m_records = other.m_records;
  return *this;
}

LogBuffer::~LogBuffer() {
  // Taken out first: were this buffer still the active target, each record would come back to it.
  const std::vector<Record> records = std::exchange(m_records, {});
  for (const Record& record : records) wxLog::OnLog(record.level, record.message, record.info);
}

void LogBuffer::DoLogRecord(wxLogLevel level, const wxString& message, const wxLogRecordInfo& info) {
  m_records.push_back(Record{level, message, info});
}

}  // namespace ut

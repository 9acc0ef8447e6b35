#include "OdError.h"

#include "imp/ut_utf8.h"

OdError::OdError(const OdString& description) : m_description(description) {
  (void)ut::internal::encodeUtf8(description.view(), m_what);
}

#include "OdError.h"

#include "OdUnicode.h"

OdError::OdError(const OdString& description) : m_description(description) {
  (void)od_unicode::encodeUtf8(description.view(), m_what);
}

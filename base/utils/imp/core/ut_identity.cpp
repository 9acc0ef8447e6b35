#include "core/ut_identity.h"

#include <mutex>

namespace ut::internal {

namespace {

struct Identity {
  std::mutex mutex;
  OdString company = kDefaultCompany;
  OdString legalCompany;
  OdString product = kDefaultProduct;
};

Identity& identity() {
  static Identity instance;
  return instance;
}

}  // namespace

OdString companyName(bool legalName) {
  Identity& id = identity();
  const std::lock_guard lock(id.mutex);
  return legalName && !id.legalCompany.isEmpty() ? id.legalCompany : id.company;
}

void setCompanyName(const OdString& name, const OdString& legalName) {
  Identity& id = identity();
  const std::lock_guard lock(id.mutex);
  id.company = name;
  id.legalCompany = legalName;
}

OdString productName() {
  Identity& id = identity();
  const std::lock_guard lock(id.mutex);
  return id.product;
}

void setProductName(const OdString& name) {
  Identity& id = identity();
  const std::lock_guard lock(id.mutex);
  id.product = name;
}

}  // namespace ut::internal

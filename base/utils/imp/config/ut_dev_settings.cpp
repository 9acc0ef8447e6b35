#include "ut_dev_settings.h"

#include "core/ut_assert_p.h"
#include "core/ut_wx.h"
#include "ut_string.h"

#include <wx/string.h>

namespace ut {

namespace {

void report(const char* operation, const OdString& message) {
  internal::report(operation, internal::toWx(message));
}

// The switch of that name without reporting a miss.
DevSettings* find(const OdString& name) {
  const auto found = DevSettings::registry().find(name);
  return found == DevSettings::registry().end() ? nullptr : found->second;
}

// Applies one item of the text form; false (reported) for one without a sign or naming no switch.
bool applyItem(OdString item) {
  item.trimLeft().trimRight();
  if (item.isEmpty()) return true;
  const wchar_t sign = item[0];
  if (sign != L'+' && sign != L'-') {
    report("DevSettings::deserialize", OdString().format(L"No \"+\" or \"-\" before \"%ls\"", item.c_str()));
    return false;
  }
  DevSettings* setting = DevSettings::getInstance(item.mid(1));
  if (setting) setting->setBoolValue(sign == L'+');
  return setting != nullptr;
}

}  // namespace

DevSettings::DevSettings(const OdString& name, bool defaultValue, const OdString& description)
    : m_value(defaultValue), m_default(defaultValue), m_name(name), m_description(description) {
  setInstance(this, name);
}

DevSettings::~DevSettings() {
  const auto found = registry().find(m_name);
  if (found != registry().end() && found->second == this) registry().erase(found);
}

DevSettings* DevSettings::getInstance(const OdString& name) {
  DevSettings* setting = find(name);
  if (!setting)
    report("DevSettings::getInstance",
           OdString().format(L"DevSettings::getInstance(\"%ls\") failed", name.c_str()));
  return setting;
}

bool DevSettings::getAsBool(const OdString& name, bool fallback) {
  const DevSettings* setting = getInstance(name);
  return setting ? setting->getAsBool() : fallback;
}

void DevSettings::setInstance(DevSettings* setting, const OdString& name) { registry()[name] = setting; }

void DevSettings::reset() {
  for (auto& [name, setting] : registry()) {
    if (setting) {
      setting->setBoolValue(setting->getDefaultAsBool());
    } else {
      report("DevSettings::reset", OdString().format(L"No switch registered under \"%ls\"", name.c_str()));
    }
  }
}

void DevSettings::serialize(OdString& text) {
  text.empty();
  for (const auto& [name, setting] : registry()) {
    if (!setting || setting->getAsBool() == setting->getDefaultAsBool()) continue;
    if (!text.isEmpty()) text += L',';
    text += setting->getAsBool() ? L'+' : L'-';
    text += name;
  }
}

bool DevSettings::deserialize(const OdString& text) {
  OdArray<OdString> items;
  splitByChar(items, text, L',', false);
  bool ok = true;
  for (const OdString& item : items) ok = applyItem(item) && ok;
  return ok;
}

void DevSettings::dumpSettings(std::map<OdString, bool>& settings) {
  for (const auto& [name, setting] : registry()) {
    if (setting) settings[name] = setting->getAsBool();
  }
}

void DevSettings::loadSettings(const std::map<OdString, bool>& settings) {
  for (const auto& [name, value] : settings) {
    if (DevSettings* setting = getInstance(name)) setting->setBoolValue(value);
  }
}

std::map<OdString, DevSettings*>& DevSettings::registry() {
  // Made at the first switch's construction, so it outlives every switch made before main() runs.
  static std::map<OdString, DevSettings*> switches;
  return switches;
}

}  // namespace ut

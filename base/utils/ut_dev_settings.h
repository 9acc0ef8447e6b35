// Developer switches: named on/off flags placed in the code to turn on experimental or diagnostic
// behaviour. Each switch is a static object that registers itself by name in one process-wide registry;
// the whole set can be listed, changed, reset to the defaults and carried as one short text ("+A,-B":
// the switches that differ from their defaults, on with "+", off with "-").
//
//   static ut::DevSettings g_fastPlot(L"FastPlot", false, L"Plot without hidden-line removal");
//   if (g_fastPlot.getAsBool()) { ... }
//
//   ut::DevSettings::deserialize(L"+FastPlot");     // true: g_fastPlot is on
//   OdString text;
//   ut::DevSettings::serialize(text);               // text == L"+FastPlot"
//   ut::DevSettings::reset();                       // every switch back to its default
//
// A switch's value may be read from any thread. Create, destroy and change switches, and use the
// registry functions, from one thread at a time (switches are usually made before main() runs).

#ifndef QX_UT_DEV_SETTINGS_H
#define QX_UT_DEV_SETTINGS_H

#include "OdString.h"

#include <map>

namespace ut {

class DevSettings {
 public:
  // Registers the switch under `name`, its value starting at the default. A later switch of the same
  // name takes the name over.
  DevSettings(const OdString& name, bool defaultValue, const OdString& description);
  // Unregisters the switch, unless another one has taken its name since.
  ~DevSettings();
  DevSettings(const DevSettings&) = delete;
  DevSettings& operator=(const DevSettings&) = delete;

  [[nodiscard]] bool getAsBool() const { return m_value; }
  [[nodiscard]] bool getDefaultAsBool() const { return m_default; }
  void setBoolValue(bool value) { m_value = value; }
  // The current value itself, for code that binds a flag directly.
  [[nodiscard]] bool& getBoolVar() { return m_value; }
  [[nodiscard]] const OdString& name() const { return m_name; }
  // What the switch does, for lists shown to developers.
  [[nodiscard]] const OdString& description() const { return m_description; }

  // The switch of that name, or null (reported through ut::callAssert).
  [[nodiscard]] static DevSettings* getInstance(const OdString& name);
  // The switch's value, or `fallback` when there is none of that name (reported as by getInstance).
  [[nodiscard]] static bool getAsBool(const OdString& name, bool fallback);
  static void setInstance(DevSettings* setting, const OdString& name);
  // Every registered switch back to its default.
  static void reset();
  // The switches that differ from their defaults, in name order: "+Name" for on, "-Name" for off,
  // joined by ","; empty when every switch is at its default.
  static void serialize(OdString& text);
  // Reads that form and sets each named switch; the others keep their values. Blanks around items and
  // empty items are ignored. An item without a sign, or naming no switch, is reported and skipped, and
  // makes the answer false; the valid items are applied all the same.
  static bool deserialize(const OdString& text);
  static void dumpSettings(std::map<OdString, bool>& settings);
  // Sets the named switches; names without a switch are reported and skipped.
  static void loadSettings(const std::map<OdString, bool>& settings);
  // The registry itself, by name.
  [[nodiscard]] static std::map<OdString, DevSettings*>& registry();

 private:
  bool m_value;
  bool m_default;
  OdString m_name;
  OdString m_description;
};

}  // namespace ut

#endif

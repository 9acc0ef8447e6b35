#include "ut_dev_settings.h"

#include "test_support.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Switches as the code declares them: static objects.
ut::DevSettings g_a(L"A", false, L"first");
ut::DevSettings g_b(L"B", true, L"second");
ut::DevSettings g_c(L"C", false, L"third");

class DevSettingsTest : public testing::Test {
 protected:
  void SetUp() override { ut::DevSettings::reset(); }

  qxtest::Reports m_reports;
};

TEST_F(DevSettingsTest, SerializesWhatDiffersFromTheDefaults) {
  OdString text(L"stale");
  ut::DevSettings::serialize(text);
  EXPECT_EQ(text, L"");
  g_a.setBoolValue(true);
  g_b.setBoolValue(false);
  ut::DevSettings::serialize(text);
  EXPECT_EQ(text, L"+A,-B");
  ut::DevSettings::reset();
  ut::DevSettings::serialize(text);
  EXPECT_EQ(text, L"");
}

TEST_F(DevSettingsTest, DeserializeSetsNamedSwitchesAndReportsTheRest) {
  g_c.setBoolValue(true);
  EXPECT_TRUE(ut::DevSettings::deserialize(L" +A , -B,,"));
  EXPECT_TRUE(g_a.getAsBool());
  EXPECT_FALSE(g_b.getAsBool());
  EXPECT_TRUE(g_c.getAsBool());  // not named: kept
  EXPECT_FALSE(ut::DevSettings::deserialize(L"-A,Nope,+Missing"));
  EXPECT_FALSE(g_a.getAsBool());
  EXPECT_EQ(
      m_reports.lines(),
      (std::vector<std::string>{"DevSettings::deserialize: No \"+\" or \"-\" before \"Nope\"",
                                "DevSettings::getInstance: DevSettings::getInstance(\"Missing\") failed"}));
}

TEST_F(DevSettingsTest, LookupsByNameAndTheWholeSet) {
  EXPECT_EQ(ut::DevSettings::getInstance(L"B"), &g_b);
  EXPECT_TRUE(ut::DevSettings::getAsBool(L"B", false));
  EXPECT_TRUE(ut::DevSettings::getAsBool(L"Unknown", true));
  EXPECT_FALSE(ut::DevSettings::getAsBool(L"Unknown", false));
  EXPECT_EQ(m_reports.lines().size(), 2u);
  g_a.getBoolVar() = true;
  EXPECT_TRUE(ut::DevSettings::getAsBool(L"A", false));
  ut::DevSettings::reset();
  std::map<OdString, bool> settings;
  ut::DevSettings::dumpSettings(settings);
  EXPECT_EQ(settings, (std::map<OdString, bool>{{L"A", false}, {L"B", true}, {L"C", false}}));
  ut::DevSettings::loadSettings({{L"A", true}, {L"Gone", true}});
  EXPECT_TRUE(g_a.getAsBool());
  EXPECT_EQ(m_reports.lines().size(), 3u);  // the name that is gone
}

TEST_F(DevSettingsTest, DestroyedSwitchLeavesTheRegistry) {
  {
    ut::DevSettings scoped(L"Scoped", true, L"short-lived");
    EXPECT_EQ(ut::DevSettings::getInstance(L"Scoped"), &scoped);
  }
  EXPECT_EQ(ut::DevSettings::registry().count(L"Scoped"), 0u);
  ut::DevSettings::setInstance(nullptr, L"Empty");
  ut::DevSettings::reset();
  EXPECT_EQ(m_reports.lines(),
            (std::vector<std::string>{"DevSettings::reset: No switch registered under \"Empty\""}));
  ut::DevSettings::registry().erase(L"Empty");
}

}  // namespace

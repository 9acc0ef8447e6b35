// A child process for the tests that need real processes on one hive: it changes the registry as told
// and says on standard output how far it got, so that the test can kill it mid-way or run several at once.
//
//   hive_child save GROUP NAME NUMBER
//       loads the configuration group GROUP (a path such as "Test/") from the registry, prints "loaded",
//       waits for a line, sets the entry NAME to NUMBER and saves; prints "saved" or "failed"
//   hive_child bigsave GROUP COUNT
//       builds a tree of COUNT string entries of 1 KiB in 100 groups, prints "saving" and saves it under
//       GROUP in one save; prints "saved" or "failed"
//   hive_child flush NAME NUMBER
//       initialises the configuration as the application does, prints "loaded", waits for a line, writes
//       the number NAME into the current profile's "Config" group and flushes; prints "saved" or "failed"
//
// The hive is the one VELTOCAD_REGISTRY_DIR names.

#include "ut_config.h"
#include "ut_config_storage.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

namespace {

std::wstring wide(const std::string& text) { return std::wstring(text.begin(), text.end()); }

int says(bool saved) {
  std::cout << (saved ? "saved" : "failed") << std::endl;
  return saved ? 0 : 3;
}

// Says "loaded" and waits for a line, so that the test can let several children go at once.
void loadedWaitForGo() {
  std::cout << "loaded" << std::endl;
  std::string line;
  std::getline(std::cin, line);
}

int saveOne(const std::string& group, const std::string& name, unsigned long number) {
  ut::ConfigRegistryStorage storage(wide(group).c_str(), false);
  ut::ConfigNodePtr root = storage.load();
  if (!root) return 2;
  loadedWaitForGo();
  ut::ConfigNodePtr entry = root->childAt(wide(name).c_str());
  if (!entry) root->addChild(entry = ut::ConfigNode::createNode(wide(name).c_str()));
  (void)entry->setULong(number);
  return says(storage.save(root));
}

int saveBig(const std::string& group, int count) {
  ut::ConfigRegistryStorage storage(wide(group).c_str(), false);
  ut::ConfigNodePtr root = ut::ConfigNode::createNode(L"Big/");
  const std::wstring text(1024, L'x');
  for (int i = 0; i < count; ++i) {
    const OdString groupName = OdString(L"g") + std::to_wstring(i % 100).c_str();
    ut::ConfigNodePtr sub = root->childAt(groupName);
    if (!sub) root->addChild(sub = ut::ConfigNode::createNode(groupName + L"/"));
    const ut::ConfigNodePtr entry = ut::ConfigNode::createNode(OdString(L"e") + std::to_wstring(i).c_str());
    (void)entry->setString(text.c_str());
    sub->addChild(entry);
  }
  std::cout << "saving" << std::endl;
  return says(storage.save(root));
}

int flushOne(const std::string& name, long number) {
  if (!ut::initConfig(nullptr)) return 2;
  loadedWaitForGo();
  return says(ut::Config::writeLong(ut::eCfgConfig, wide(name).c_str(), number) && ut::writeConfig());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "flush") return flushOne(argv[2], std::stol(argv[3]));
  if (argc == 5 && std::string(argv[1]) == "save") return saveOne(argv[2], argv[3], std::stoul(argv[4]));
  if (argc == 4 && std::string(argv[1]) == "bigsave") return saveBig(argv[2], std::atoi(argv[3]));
  std::cerr << "usage: hive_child save GROUP NAME NUMBER | bigsave GROUP COUNT | flush NAME NUMBER\n";
  return 1;
}

#include "ut_config_node.h"

#include "test_support.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <tuple>
#include <utility>

namespace {

using ut::ConfigNode;
using ut::ConfigNodePtr;
using ut::ConfigValBase;

ConfigNodePtr number(const wchar_t* name, unsigned long value) {
  ConfigNodePtr node = ConfigNode::createNode(name);
  EXPECT_TRUE(node->setULong(value));
  return node;
}

ConfigNodePtr group(const wchar_t* name, std::initializer_list<ConfigNodePtr> children) {
  ConfigNodePtr node = ConfigNode::createNode(OdString(name) + L"/");
  for (const ConfigNodePtr& child : children) EXPECT_TRUE(node->addChild(child));
  return node;
}

template <class T>
bool is(const ConfigNodePtr& node) {
  return dynamic_cast<const T*>(node.get()) != nullptr;
}

unsigned long readULong(const ConfigNodePtr& root, const wchar_t* path) {
  unsigned long value = 0;
  const ConfigNodePtr node = root->childAt(path);
  EXPECT_TRUE(node && node->getULong(value)) << "at " << path;
  return value;
}

TEST(ConfigNodeTest, CreateNodeTellsGroupsByTheTrailingSlash) {
  const std::tuple<const wchar_t*, bool, const wchar_t*> rows[] = {
      {L"", true, L""}, {L"Plot/", true, L"Plot"}, {L"a/b/", true, L"a/b"}, {L"Scale", false, L"Scale"}};
  for (const auto& [name, isGroup, path] : rows) {
    SCOPED_TRACE(testing::Message() << '"' << name << '"');
    const ConfigNodePtr node = ConfigNode::createNode(name);
    EXPECT_EQ(node->isGroup(), isGroup);
    EXPECT_EQ(node->path(), OdString(path));
    EXPECT_EQ(node->type(), ConfigValBase::eNoValue);
    EXPECT_FALSE(node->isDestructiveWrite());
  }
}

TEST(ConfigNodeTest, ValuesKeepTheirKindAndADwordRange) {
  for (const wchar_t* name : {L"Entry", L"Group/"}) {
    SCOPED_TRACE(testing::Message() << '"' << name << '"');
    const ConfigNodePtr node = ConfigNode::createNode(name);
    unsigned long n = 7;
    OdString s(L"old");
    EXPECT_FALSE(node->getULong(n) || node->getString(s));
    ASSERT_TRUE(node->setULong(0xFFFFFFFFul));
    EXPECT_FALSE(node->setULong(0x100000000ul));
    EXPECT_TRUE(node->getULong(n));
    EXPECT_EQ(n, 0xFFFFFFFFul);
    EXPECT_FALSE(node->getString(s));
    EXPECT_EQ(s, OdString(L"old"));
    ASSERT_TRUE(node->setString(L"text"));
    EXPECT_EQ(node->type(), ConfigValBase::eString);
    EXPECT_FALSE(node->getULong(n));
    EXPECT_TRUE(node->getString(s));
    EXPECT_EQ(s, OdString(L"text"));
    EXPECT_FALSE(node->setULong(0x100000000ul));
    EXPECT_EQ(node->type(), ConfigValBase::eString);
  }
}

TEST(ConfigNodeTest, ChildAtFindsNamesAndPathsIgnoringCase) {
  const ConfigNodePtr root = group(L"", {group(L"Config", {group(L"Plot", {number(L"Scale", 4)})}),
                                         number(L"Name", 1), number(L"\u00c4rger", 2)});
  // Each row: a path, and the name of what it finds (null: nothing).
  const std::pair<const wchar_t*, const wchar_t*> rows[] = {
      {L"Config/Plot/Scale", L"Scale"},
      {L"config/PLOT/sCALE", L"Scale"},
      {L"Config/Plot/", L"Plot"},
      {L"\u00e4RGER", L"\u00c4rger"},
      {L"", nullptr},
      {L"Config/Missing", nullptr},
      {L"Name/x", nullptr},
      {L"/Config", nullptr},
      {L"Config//Plot", nullptr},
  };
  for (const auto& [path, found] : rows) {
    SCOPED_TRACE(testing::Message() << '"' << path << '"');
    const ConfigNodePtr node = root->childAt(path);
    ASSERT_EQ(node != nullptr, found != nullptr);
    if (node) {
      EXPECT_EQ(node->path(), OdString(found));
    }
  }
}

TEST(ConfigNodeTest, ChildrenStayInNameOrderWhateverOrderTheyComeIn) {
  const ConfigNodePtr root = group(L"", {});
  for (const wchar_t* name : {L"b", L"d", L"a", L"C", L"e", L"E", L"f"})
    ASSERT_TRUE(root->addChild(number(name, 1)));
  std::wstring names;
  for (const ConfigNodePtr& child : root->children()) names += child->path().str();
  EXPECT_EQ(names, L"abCdEf");
  EXPECT_TRUE(is<ut::ConfigReplacedNode>(root->childAt(L"e")));
  // An empty pointer sorts before every node, and is not less than itself.
  const ut::ConfigNodeComparator less;
  const ConfigNodePtr none;
  EXPECT_TRUE(less(none, root) && !less(root, none) && !less(none, none));
}

// A name differing only in case names the same child, which takes the new spelling.
TEST(ConfigNodeTest, AddingOverAChildWrapsTheNewOneAsReplaced) {
  const ConfigNodePtr root = group(L"", {group(L"Plot", {number(L"Old", 1)})});
  ASSERT_TRUE(root->addChild(group(L"plot", {number(L"Scale", 5)})));
  ASSERT_EQ(root->children().size(), 1u);
  const ConfigNodePtr plot = root->childAt(L"Plot");
  ASSERT_TRUE(is<ut::ConfigReplacedNode>(plot));
  EXPECT_EQ(plot->path(), OdString(L"plot"));
  EXPECT_TRUE(plot->isDestructiveWrite());
  EXPECT_TRUE(plot->isGroup());
  EXPECT_EQ(readULong(root, L"Plot/Scale"), 5u);
  EXPECT_EQ(root->childAt(L"Plot/Old"), nullptr);
  ASSERT_TRUE(plot->addChild(number(L"Added", 6)));
  EXPECT_EQ(readULong(root, L"Plot/Added"), 6u);
  EXPECT_EQ(plot->children().size(), 2u);
}

TEST(ConfigNodeTest, RemovingLeavesATombstoneThatNoReadGetsThrough) {
  const ConfigNodePtr root = group(L"", {number(L"Scale", 1), group(L"Plot", {number(L"Inner", 2)})});
  for (const wchar_t* name : {L"Scale", L"Plot"}) {
    SCOPED_TRACE(testing::Message() << '"' << name << '"');
    const bool wasGroup = root->childAt(name)->isGroup();
    ASSERT_TRUE(root->removeChild(ConfigNode::createNode(name)));
    const ConfigNodePtr tombstone = root->childAt(name);
    ASSERT_TRUE(is<ut::ConfigDeletedNode>(tombstone));
    EXPECT_EQ(tombstone->isGroup(), wasGroup);
    unsigned long n = 0;
    EXPECT_FALSE(tombstone->getULong(n));
    EXPECT_FALSE(tombstone->setULong(1));
    EXPECT_FALSE(root->removeChild(tombstone));
  }
  EXPECT_EQ(root->childAt(L"Plot/Inner"), nullptr);
  EXPECT_FALSE(root->removeChild(ConfigNode::createNode(L"Missing")));
  EXPECT_EQ(root->children().size(), 2u);

  ASSERT_TRUE(root->addChild(number(L"scale", 3)));
  EXPECT_TRUE(is<ut::ConfigReplacedNode>(root->childAt(L"Scale")));
  EXPECT_EQ(readULong(root, L"Scale"), 3u);
}

TEST(ConfigNodeTest, AddChildRefusesWhatCannotBeAChild) {
  const ConfigNodePtr root = group(L"", {});
  EXPECT_FALSE(root->addChild(nullptr));
  EXPECT_FALSE(root->addChild(ConfigNode::createNode(L"")));
  EXPECT_FALSE(root->addChild(root));
  EXPECT_TRUE(root->children().empty());
  const ConfigNodePtr entry = number(L"Entry", 1);
  EXPECT_FALSE(entry->addChild(number(L"Child", 2)));
  EXPECT_FALSE(entry->removeChild(entry));
  EXPECT_EQ(entry->childAt(L"Child"), nullptr);
}

TEST(ConfigNodeTest, MarkersHoldNothingAndAreWrittenDestructively) {
  const std::pair<ConfigNodePtr, bool> rows[] = {
      {std::make_shared<ut::ConfigNoNode>(), true},
      {std::make_shared<ut::ConfigDeletedNode>(L"E", false), false},
      {std::make_shared<ut::ConfigDeletedNode>(L"G", true), true},
      {std::make_shared<ut::ConfigDeletedProfileNode>(L"P"), true}};
  for (const auto& [node, isGroup] : rows) {
    SCOPED_TRACE(testing::Message() << typeid(*node).name());
    EXPECT_EQ(node->type(), ConfigValBase::eNoNode);
    EXPECT_EQ(node->isGroup(), isGroup);
    EXPECT_TRUE(node->isDestructiveWrite());
    EXPECT_FALSE(node->setString(L"x"));
    EXPECT_TRUE(node->children().empty());
  }
}

TEST(ConfigNodeTest, TouchedMarksVisitsAndChanges) {
  const ConfigNodePtr root = group(L"", {number(L"Scale", 1)});
  const std::tuple<const char*, void (*)(const ConfigNodePtr&), bool> rows[] = {
      {"miss", [](const ConfigNodePtr& n) { (void)n->childAt(L"Nothing"); }, false},
      {"hit", [](const ConfigNodePtr& n) { (void)n->childAt(L"scale"); }, true},
      {"add", [](const ConfigNodePtr& n) { n->addChild(number(L"New", 2)); }, true},
      {"remove", [](const ConfigNodePtr& n) { n->removeChild(number(L"New", 2)); }, true},
      {"own value", [](const ConfigNodePtr& n) { n->setString(L"v"); }, true}};
  for (const auto& [step, action, touched] : rows) {
    SCOPED_TRACE(step);
    root->clearTouched();
    ASSERT_FALSE(root->isTouched());
    action(root);
    EXPECT_EQ(root->isTouched(), touched);
  }
  const ConfigNodePtr replaced = std::make_shared<ut::ConfigReplacedNode>(root);
  EXPECT_TRUE(replaced->isTouched());
  replaced->clearTouched();
  EXPECT_TRUE(root->isTouched());
  root->clearTouched();
  EXPECT_FALSE(replaced->isTouched());
  EXPECT_TRUE(number(L"Entry", 1)->isTouched());
}

TEST(ConfigNodeTest, ClonesAreDeepAndKeepOrDropMarkers) {
  const ConfigNodePtr tree = group(L"Default", {group(L"Config", {number(L"Scale", 1)})});
  const ConfigNodePtr renamed = ConfigNode::cloneNodeTo(tree, L"Copy/", false);
  ASSERT_TRUE(renamed && renamed->isGroup());
  EXPECT_EQ(renamed->path(), OdString(L"Copy"));
  ASSERT_TRUE(renamed->childAt(L"Config/Scale")->setULong(2));
  ASSERT_TRUE(renamed->childAt(L"Config")->addChild(number(L"More", 3)));
  EXPECT_EQ(readULong(tree, L"Config/Scale"), 1u);
  EXPECT_EQ(tree->childAt(L"Config/More"), nullptr);
  EXPECT_EQ(ConfigNode::cloneNode(nullptr, true), nullptr);

  const ConfigNodePtr original = group(L"P", {number(L"Gone", 1), number(L"Swapped", 2)});
  original->removeChild(number(L"Gone", 0));
  original->addChild(number(L"Swapped", 3));
  for (const bool keepMarkers : {false, true}) {
    SCOPED_TRACE(keepMarkers ? "keep markers" : "as reads see it");
    const ConfigNodePtr copy = ConfigNode::cloneNode(original, keepMarkers);
    EXPECT_EQ(copy->path(), OdString(L"P"));
    EXPECT_EQ(is<ut::ConfigDeletedNode>(copy->childAt(L"Gone")), keepMarkers);
    EXPECT_EQ(copy->childAt(L"Swapped")->isDestructiveWrite(), keepMarkers);
    EXPECT_EQ(readULong(copy, L"Swapped"), 3u);
  }
  EXPECT_EQ(ConfigNode::cloneNode(original->childAt(L"Gone"), false), nullptr);
}

}  // namespace

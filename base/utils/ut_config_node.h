// Configuration tree: the in-memory tree of groups (registry keys) and entries (named values) that
// holds every persistent setting, and the marker nodes that remember deletions and replacements until a
// store saves the tree.
//
//   ut::ConfigNodePtr root = ut::ConfigNode::createNode(L"");      // a group: empty name or trailing "/"
//   ut::ConfigNodePtr plot = ut::ConfigNode::createNode(L"Plot/");  // a group named "Plot"
//   ut::ConfigNodePtr scale = ut::ConfigNode::createNode(L"Scale"); // an entry
//   scale->setULong(4);
//   plot->addChild(scale);
//   root->addChild(plot);
//   unsigned long n = 0;
//   root->childAt(L"PLOT/scale")->getULong(n);   // true, n == 4: names ignore case, "/" walks down
//   OdString text;
//   root->childAt(L"Plot/Scale")->getString(text);  // false: a number is not a string
//   plot->removeChild(scale);                     // true; "Scale" is now a ConfigDeletedNode
//   root->childAt(L"Plot/Scale")->type();         // ConfigValBase::eNoNode: every read fails
//   plot->addChild(ut::ConfigNode::createNode(L"scale"));
//   root->childAt(L"Plot/Scale")->isDestructiveWrite();  // true: a ConfigReplacedNode
//
// Names compare as the registry compares them (each character upper-cased by its Unicode simple
// mapping, then by code point, whatever the locale), so a group never holds two children whose names
// differ only in case. A group and an entry of the same name are one child as well. A group's name is
// kept without the trailing "/" that created it.
//
// A store saves a tree by walking children() in order: a node whose isDestructiveWrite() is true has
// its place deleted first; a node whose type() is eNoNode is then done with; any other node has its
// value (if any) written and, when isGroup(), its children saved in turn.
//
// Thread safety: none. Even childAt changes state (the touched flag), so one tree belongs to one
// thread at a time; distinct trees may be used from different threads.

#ifndef QX_UT_CONFIG_NODE_H
#define QX_UT_CONFIG_NODE_H

#include "OdString.h"

#include <cstdint>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

namespace ut {

// --- Values --------------------------------------------------------------------------------------------

// One typed value. There is no conversion between kinds: asking a string for a number fails.
class ConfigValBase {
 public:
  enum Type : int32_t {
    eNoNode = -1,  // the node is a marker (absent, deleted, a deleted profile) and holds nothing
    eNoValue = 0,  // a group, or an entry whose value has not been set
    eULong = 1,    // an unsigned 32-bit integer, a registry dword
    eString = 2,   // an OdString
  };

  // The largest number a value holds; setULong refuses anything above it.
  static constexpr unsigned long kMaxULong = 0xFFFFFFFFul;

  ConfigValBase() = default;
  ConfigValBase(const ConfigValBase&) = delete;
  ConfigValBase& operator=(const ConfigValBase&) = delete;
  virtual ~ConfigValBase() = default;

  [[nodiscard]] virtual Type type() const = 0;
  // Each copies the value out and answers true when it is of that kind; otherwise false, `value` as it was.
  [[nodiscard]] virtual bool getULong(unsigned long& value) const = 0;
  [[nodiscard]] virtual bool getString(OdString& value) const = 0;
  // Each stores the value and answers true when it is of that kind; otherwise false, nothing changed.
  virtual bool setULong(unsigned long value) = 0;
  virtual bool setString(const wchar_t* value) = 0;
};

// A number. setULong with a number above kMaxULong answers false and keeps the old one.
class ConfigValULong : public ConfigValBase {
 public:
  explicit ConfigValULong(uint32_t value = 0) : m_value(value) {}

  [[nodiscard]] Type type() const override { return eULong; }
  [[nodiscard]] bool getULong(unsigned long& value) const override;
  [[nodiscard]] bool getString(OdString&) const override { return false; }
  bool setULong(unsigned long value) override;
  bool setString(const wchar_t*) override { return false; }

 private:
  uint32_t m_value;
};

// A text. setString(nullptr) stores the empty string.
class ConfigValString : public ConfigValBase {
 public:
  explicit ConfigValString(OdString value = OdString()) : m_value(std::move(value)) {}

  [[nodiscard]] Type type() const override { return eString; }
  [[nodiscard]] bool getULong(unsigned long&) const override { return false; }
  [[nodiscard]] bool getString(OdString& value) const override;
  bool setULong(unsigned long) override { return false; }
  bool setString(const wchar_t* value) override;

 private:
  OdString m_value;
};

// --- Nodes ---------------------------------------------------------------------------------------------

class ConfigNodeBase;
using ConfigNodePtr = std::shared_ptr<ConfigNodeBase>;

// Orders children by name, ignoring case as the registry does; an empty pointer sorts first. Also
// compares a node with a bare name, so a set of children can be searched without making a probe node.
struct ConfigNodeComparator {
  using is_transparent = void;

  bool operator()(const ConfigNodePtr& a, const ConfigNodePtr& b) const;
  bool operator()(const ConfigNodePtr& a, std::wstring_view b) const;
  bool operator()(std::wstring_view a, const ConfigNodePtr& b) const;
};

using ConfigNodeSet = std::set<ConfigNodePtr, ConfigNodeComparator>;

// A node of the tree. Every node is held by ConfigNodePtr.
class ConfigNodeBase {
 public:
  ConfigNodeBase() = default;
  ConfigNodeBase(const ConfigNodeBase&) = delete;
  ConfigNodeBase& operator=(const ConfigNodeBase&) = delete;
  virtual ~ConfigNodeBase() = default;

  // The value's kind; eNoValue when the node has no value.
  [[nodiscard]] virtual ConfigValBase::Type type() const;
  // True and the value only when the node holds a value of that kind.
  [[nodiscard]] virtual bool getULong(unsigned long& value) const;
  [[nodiscard]] virtual bool getString(OdString& value) const;
  // Give the node a value of that kind, replacing a value of the other kind. False, nothing changed,
  // on a marker (type() eNoNode) and for a number above ConfigValBase::kMaxULong.
  virtual bool setULong(unsigned long value);
  virtual bool setString(const wchar_t* value);

  // The node's name (not the whole path from the root).
  [[nodiscard]] virtual const OdString& path() const = 0;
  // Whether the node stands for a group (a registry key) rather than an entry (a value).
  [[nodiscard]] virtual bool isGroup() const = 0;
  [[nodiscard]] virtual const ConfigNodeSet& children() const = 0;
  // The child of that name or, for a path "a/b/c", the node it leads to; an empty pointer when none.
  [[nodiscard]] virtual ConfigNodePtr childAt(const OdString& name) = 0;
  virtual bool addChild(ConfigNodePtr child) = 0;
  virtual bool removeChild(const ConfigNodePtr& child) = 0;
  // Whether saving the node deletes what the store holds at its place before writing it afresh.
  [[nodiscard]] virtual bool isDestructiveWrite() const = 0;
  // Whether the node was changed or visited since clearTouched.
  [[nodiscard]] virtual bool isTouched() const = 0;
  virtual void clearTouched() = 0;

 protected:
  std::shared_ptr<ConfigValBase> m_value;
};

// An entry: a named value without children. addChild and removeChild answer false; it is always
// touched, and clearTouched does nothing.
class ConfigNode : public ConfigNodeBase {
 public:
  explicit ConfigNode(OdString name) : m_name(std::move(name)) {}

  // A new node without a value: a group (ConfigContainerNode) when `name` is empty or ends with "/",
  // which is dropped from the name; otherwise an entry.
  [[nodiscard]] static ConfigNodePtr createNode(const OdString& name);
  // A deep copy of `node`: same name, a copy of its value, its children copied likewise; an empty
  // pointer for an empty `node`. With `keepMarkers` the copy has the same structure as the original,
  // markers included. Without it the copy is the tree as reads see it: markers are left out (a marker
  // `node` gives an empty pointer) and each ConfigReplacedNode becomes a plain copy of what it wraps.
  [[nodiscard]] static ConfigNodePtr cloneNode(const ConfigNodePtr& node, bool keepMarkers);
  // As cloneNode, but the copy is named `newName` (a trailing "/" dropped); it stays a group or an
  // entry as `node` is.
  [[nodiscard]] static ConfigNodePtr cloneNodeTo(const ConfigNodePtr& node, const OdString& newName,
                                                 bool keepMarkers);

  [[nodiscard]] const OdString& path() const override { return m_name; }
  [[nodiscard]] bool isGroup() const override { return false; }
  [[nodiscard]] const ConfigNodeSet& children() const override;
  [[nodiscard]] ConfigNodePtr childAt(const OdString&) override { return nullptr; }
  bool addChild(ConfigNodePtr) override { return false; }
  bool removeChild(const ConfigNodePtr&) override { return false; }
  // True exactly for markers (type() eNoNode).
  [[nodiscard]] bool isDestructiveWrite() const override { return type() == ConfigValBase::eNoNode; }
  [[nodiscard]] bool isTouched() const override { return true; }
  void clearTouched() override {}

 private:
  OdString m_name;
};

// A group: an ordered set of children and a touched flag. The flag starts set (a new group has never
// been saved); every childAt that finds something, every addChild and removeChild call and every set of
// the group's own value sets it again.
//
// childAt looks for a child of exactly that name first (ignoring case); failing that, it takes the part
// before the first "/", finds that child and asks it for the rest. A trailing "/" (a group path such as
// "Config/Plot/") finds what the path without it finds. An empty name finds nothing. Each lookup takes
// O(log n) per path component and allocates only when walking down a "/".
//
// addChild refuses (false) an empty pointer, a child with an empty name and the group itself. Otherwise
// it inserts the child, or, when a child of that name is there (live or a marker), puts the new one in
// its place wrapped in a ConfigReplacedNode (unless it is one already), so that saving deletes the old
// item before writing anew. A node must not become its own descendant: the tree would never be freed.
//
// removeChild puts a ConfigDeletedNode of the child's name, remembering whether it was a group, in the
// place of the child of that name, which need not be the very node passed. It answers false, changing
// no child, when there is no child of that name or that child is already a marker.
class ConfigContainerNode : public ConfigNode {
 public:
  explicit ConfigContainerNode(OdString name) : ConfigNode(std::move(name)) {}

  bool setULong(unsigned long value) override;
  bool setString(const wchar_t* value) override;
  [[nodiscard]] bool isGroup() const override { return true; }
  [[nodiscard]] const ConfigNodeSet& children() const override { return m_children; }
  [[nodiscard]] ConfigNodePtr childAt(const OdString& name) override;
  bool addChild(ConfigNodePtr child) override;
  bool removeChild(const ConfigNodePtr& child) override;
  [[nodiscard]] bool isTouched() const override { return m_touched; }
  void clearTouched() override { m_touched = false; }

  // For a store that has saved the group, and so carried out what the markers among its children ask
  // for: the tombstones go, and each ConfigReplacedNode gives way to the node it wraps.
  void settleMarkers();

 private:
  [[nodiscard]] ConfigNodePtr lookUp(std::wstring_view name);

  ConfigNodeSet m_children;
  bool m_touched = true;
};

// The placeholder that stands where a tree is missing: a group marker with no children.
class ConfigNoNode : public ConfigNode {
 public:
  explicit ConfigNoNode(const OdString& name = OdString()) : ConfigNode(name) {}

  [[nodiscard]] ConfigValBase::Type type() const override { return ConfigValBase::eNoNode; }
  [[nodiscard]] bool isGroup() const override { return true; }
};

// A tombstone: the named group or entry is deleted from the store when the tree is next saved.
class ConfigDeletedNode : public ConfigNode {
 public:
  ConfigDeletedNode(const OdString& name, bool isGroup) : ConfigNode(name), m_isGroup(isGroup) {}

  [[nodiscard]] ConfigValBase::Type type() const override { return ConfigValBase::eNoNode; }
  [[nodiscard]] bool isGroup() const override { return m_isGroup; }

 private:
  bool m_isGroup;
};

// Wraps a node that took the place of another of the same name: it answers for the wrapped node in
// everything except that saving it deletes the old item first (isDestructiveWrite() is always true)
// and that clearTouched does nothing. `wrapped` must not be empty.
class ConfigReplacedNode : public ConfigNode {
 public:
  // path() answers for the wrapped node, so the name of its own stays empty.
  explicit ConfigReplacedNode(ConfigNodePtr wrapped)
      : ConfigNode(OdString()), m_wrapped(std::move(wrapped)) {}

  // The node that saving writes afresh.
  [[nodiscard]] const ConfigNodePtr& wrapped() const { return m_wrapped; }

  [[nodiscard]] ConfigValBase::Type type() const override { return m_wrapped->type(); }
  [[nodiscard]] bool getULong(unsigned long& value) const override { return m_wrapped->getULong(value); }
  [[nodiscard]] bool getString(OdString& value) const override { return m_wrapped->getString(value); }
  bool setULong(unsigned long value) override { return m_wrapped->setULong(value); }
  bool setString(const wchar_t* value) override { return m_wrapped->setString(value); }
  [[nodiscard]] const OdString& path() const override { return m_wrapped->path(); }
  [[nodiscard]] bool isGroup() const override { return m_wrapped->isGroup(); }
  [[nodiscard]] const ConfigNodeSet& children() const override { return m_wrapped->children(); }
  [[nodiscard]] ConfigNodePtr childAt(const OdString& name) override { return m_wrapped->childAt(name); }
  bool addChild(ConfigNodePtr child) override { return m_wrapped->addChild(std::move(child)); }
  bool removeChild(const ConfigNodePtr& child) override { return m_wrapped->removeChild(child); }
  [[nodiscard]] bool isDestructiveWrite() const override { return true; }
  [[nodiscard]] bool isTouched() const override { return m_wrapped->isTouched(); }
  void clearTouched() override {}

 private:
  ConfigNodePtr m_wrapped;
};

// The tombstone that deleting a profile leaves in the profiles group: a group marker.
class ConfigDeletedProfileNode : public ConfigNode {
 public:
  explicit ConfigDeletedProfileNode(const OdString& name) : ConfigNode(name) {}

  [[nodiscard]] ConfigValBase::Type type() const override { return ConfigValBase::eNoNode; }
  [[nodiscard]] bool isGroup() const override { return true; }
};

}  // namespace ut

#endif

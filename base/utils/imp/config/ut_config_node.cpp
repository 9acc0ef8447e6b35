#include "ut_config_node.h"

#include "core/ut_nocase.h"

namespace ut {

namespace {

bool fitsInDword(unsigned long value) { return value <= ConfigValBase::kMaxULong; }

std::wstring_view withoutTrailingSlash(std::wstring_view name) {
  if (!name.empty() && name.back() == L'/') name.remove_suffix(1);
  return name;
}

bool isMarker(const ConfigNodeBase& node) { return node.type() == ConfigValBase::eNoNode; }

// `node` itself when it already is a ConfigReplacedNode: wrapping twice would say nothing more.
ConfigNodePtr asReplacement(ConfigNodePtr node) {
  if (dynamic_cast<const ConfigReplacedNode*>(node.get())) return node;
  return std::make_shared<ConfigReplacedNode>(std::move(node));
}

void copyValue(const ConfigNodeBase& from, ConfigNodeBase& to) {
  unsigned long number = 0;
  OdString text;
  if (from.getULong(number))
    to.setULong(number);
  else if (from.getString(text))
    to.setString(text);
}

ConfigNodePtr copyMarker(const ConfigNodeBase& marker, const OdString& name) {
  if (dynamic_cast<const ConfigDeletedProfileNode*>(&marker))
    return std::make_shared<ConfigDeletedProfileNode>(name);
  if (dynamic_cast<const ConfigNoNode*>(&marker)) return std::make_shared<ConfigNoNode>(name);
  return std::make_shared<ConfigDeletedNode>(name, marker.isGroup());
}

ConfigNodePtr cloneAs(const ConfigNodeBase& node, const OdString& name, bool keepMarkers) {
  if (const auto* replaced = dynamic_cast<const ConfigReplacedNode*>(&node)) {
    ConfigNodePtr copy = cloneAs(*replaced->wrapped(), name, keepMarkers);
    return keepMarkers && copy ? asReplacement(std::move(copy)) : copy;
  }
  if (isMarker(node)) return keepMarkers ? copyMarker(node, name) : nullptr;

  ConfigNodePtr copy =
      node.isGroup() ? std::make_shared<ConfigContainerNode>(name) : std::make_shared<ConfigNode>(name);
  copyValue(node, *copy);
  for (const ConfigNodePtr& child : node.children()) {
    if (ConfigNodePtr childCopy = cloneAs(*child, child->path(), keepMarkers))
      copy->addChild(std::move(childCopy));
  }
  return copy;
}

// The child named `name`, or end(). `bound` is where a longer name that starts with `name` would go: a
// child named `name` sorts before it, nearly always right before, so that place is tried first and the
// whole set searched only when it fails.
ConfigNodeSet::const_iterator findBefore(const ConfigNodeSet& children, ConfigNodeSet::const_iterator bound,
                                         std::wstring_view name) {
  if (bound != children.begin()) {
    const auto before = std::prev(bound);
    if (internal::equalNoCase((*before)->path().view(), name)) return before;
  }
  return children.find(name);
}

}  // namespace

// --- Values --------------------------------------------------------------------------------------------

bool ConfigValULong::getULong(unsigned long& value) const {
  value = m_value;
  return true;
}

bool ConfigValULong::setULong(unsigned long value) {
  if (!fitsInDword(value)) return false;
  m_value = static_cast<uint32_t>(value);
  return true;
}

bool ConfigValString::getString(OdString& value) const {
  value = m_value;
  return true;
}

bool ConfigValString::setString(const wchar_t* value) {
  m_value = OdString(value);
  return true;
}

// --- Order ---------------------------------------------------------------------------------------------

bool ConfigNodeComparator::operator()(const ConfigNodePtr& a, const ConfigNodePtr& b) const {
  // Irreflexive, as std::set needs: an empty pointer is less than every node but not than itself.
  if (!a || !b) return !a && b;
  return internal::compareNoCase(a->path().view(), b->path().view()) < 0;
}

bool ConfigNodeComparator::operator()(const ConfigNodePtr& a, std::wstring_view b) const {
  return !a || internal::compareNoCase(a->path().view(), b) < 0;
}

bool ConfigNodeComparator::operator()(std::wstring_view a, const ConfigNodePtr& b) const {
  return b && internal::compareNoCase(a, b->path().view()) < 0;
}

// --- ConfigNodeBase ------------------------------------------------------------------------------------

ConfigValBase::Type ConfigNodeBase::type() const {
  return m_value ? m_value->type() : ConfigValBase::eNoValue;
}

bool ConfigNodeBase::getULong(unsigned long& value) const { return m_value && m_value->getULong(value); }

bool ConfigNodeBase::getString(OdString& value) const { return m_value && m_value->getString(value); }

bool ConfigNodeBase::setULong(unsigned long value) {
  if (isMarker(*this) || !fitsInDword(value)) return false;
  if (!m_value || !m_value->setULong(value))
    m_value = std::make_shared<ConfigValULong>(static_cast<uint32_t>(value));
  return true;
}

bool ConfigNodeBase::setString(const wchar_t* value) {
  if (isMarker(*this)) return false;
  if (!m_value || !m_value->setString(value)) m_value = std::make_shared<ConfigValString>(OdString(value));
  return true;
}

// --- ConfigNode ----------------------------------------------------------------------------------------

ConfigNodePtr ConfigNode::createNode(const OdString& name) {
  const std::wstring_view view = name.view();
  if (view.empty() || view.back() == L'/')
    return std::make_shared<ConfigContainerNode>(OdString(withoutTrailingSlash(view)));
  return std::make_shared<ConfigNode>(name);
}

ConfigNodePtr ConfigNode::cloneNode(const ConfigNodePtr& node, bool keepMarkers) {
  return node ? cloneAs(*node, node->path(), keepMarkers) : nullptr;
}

ConfigNodePtr ConfigNode::cloneNodeTo(const ConfigNodePtr& node, const OdString& newName, bool keepMarkers) {
  return node ? cloneAs(*node, OdString(withoutTrailingSlash(newName.view())), keepMarkers) : nullptr;
}

const ConfigNodeSet& ConfigNode::children() const {
  static const ConfigNodeSet none;
  return none;
}

// --- ConfigContainerNode -------------------------------------------------------------------------------

bool ConfigContainerNode::setULong(unsigned long value) {
  m_touched = true;
  return ConfigNode::setULong(value);
}

bool ConfigContainerNode::setString(const wchar_t* value) {
  m_touched = true;
  return ConfigNode::setString(value);
}

ConfigNodePtr ConfigContainerNode::childAt(const OdString& name) { return lookUp(name.view()); }

ConfigNodePtr ConfigContainerNode::lookUp(std::wstring_view name) {
  if (name.empty()) return nullptr;
  const auto bound = m_children.lower_bound(name);
  if (bound != m_children.end() && !m_children.key_comp()(name, *bound)) {
    m_touched = true;
    return *bound;
  }
  const size_t slash = name.find(L'/');
  if (slash == std::wstring_view::npos) return nullptr;
  const auto head = findBefore(m_children, bound, name.substr(0, slash));
  if (head == m_children.end()) return nullptr;
  m_touched = true;
  const std::wstring_view rest = name.substr(slash + 1);
  return rest.empty() ? *head : (*head)->childAt(OdString(rest));
}

bool ConfigContainerNode::addChild(ConfigNodePtr child) {
  m_touched = true;
  if (!child || child.get() == this || child->path().isEmpty()) return false;
  // One search finds both the child of that name and, when there is none, where the new one goes.
  // Children often come in order, as a store lists its groups by name: the end is tried first.
  const bool last = !m_children.empty() && m_children.key_comp()(*m_children.rbegin(), child);
  const auto old = last ? m_children.end() : m_children.lower_bound(child->path().view());
  if (old == m_children.end() || m_children.key_comp()(child->path().view(), *old)) {
    m_children.insert(old, std::move(child));
    return true;
  }
  const auto next = m_children.erase(old);
  m_children.insert(next, asReplacement(std::move(child)));
  return true;
}

bool ConfigContainerNode::removeChild(const ConfigNodePtr& child) {
  m_touched = true;
  if (!child) return false;
  const auto old = m_children.find(child->path().view());
  if (old == m_children.end() || isMarker(**old)) return false;
  auto tombstone = std::make_shared<ConfigDeletedNode>((*old)->path(), (*old)->isGroup());
  const auto next = m_children.erase(old);
  m_children.insert(next, std::move(tombstone));
  return true;
}

void ConfigContainerNode::settleMarkers() {
  for (auto it = m_children.begin(); it != m_children.end();) {
    if (isMarker(**it)) {
      it = m_children.erase(it);
      continue;
    }
    if (const auto* replaced = dynamic_cast<const ConfigReplacedNode*>(it->get())) {
      ConfigNodePtr wrapped = replaced->wrapped();
      it = m_children.insert(m_children.erase(it), std::move(wrapped));  // the same name keeps the place
    }
    ++it;
  }
}

}  // namespace ut

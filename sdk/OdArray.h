// OdArray<T>: the drawing SDK's dynamic array, over std::vector. Element access checks the index and
// throws OdError("Invalid index"), as the SDK does.
//
//   OdArray<OdString> names;
//   names.append(L"a");          // returns the index, 0
//   names.insertAt(0, L"b");     // names: b, a
//   names.contains(L"a");        // true
//   names.removeAt(1);           // names: b

#ifndef QX_SDK_ODARRAY_H
#define QX_SDK_ODARRAY_H

#include "OdError.h"

#include <algorithm>
#include <initializer_list>
#include <vector>

template <class T>
class OdArray {
 public:
  using value_type = T;
  using size_type = unsigned int;
  using iterator = typename std::vector<T>::iterator;
  using const_iterator = typename std::vector<T>::const_iterator;

  OdArray() = default;
  OdArray(std::initializer_list<T> items) : m_items(items) {}

  size_type size() const { return static_cast<size_type>(m_items.size()); }
  size_type length() const { return size(); }
  bool isEmpty() const { return m_items.empty(); }
  bool empty() const { return m_items.empty(); }

  T& operator[](size_type index) { return m_items[checked(index)]; }
  const T& operator[](size_type index) const { return m_items[checked(index)]; }
  T& at(size_type index) { return m_items[checked(index)]; }
  const T& at(size_type index) const { return m_items[checked(index)]; }
  T& first() { return at(0); }
  const T& first() const { return at(0); }
  T& last() { return at(size() - 1); }
  const T& last() const { return at(size() - 1); }

  size_type append(const T& value) {
    m_items.push_back(value);
    return size() - 1;
  }
  size_type append(T&& value) {
    m_items.push_back(std::move(value));
    return size() - 1;
  }
  OdArray& append(const OdArray& other) {
    m_items.insert(m_items.end(), other.m_items.begin(), other.m_items.end());
    return *this;
  }
  // index may equal size(), which appends.
  OdArray& insertAt(size_type index, const T& value) {
    m_items.insert(m_items.begin() + checked(index, size() + 1), value);
    return *this;
  }
  OdArray& removeAt(size_type index) {
    m_items.erase(m_items.begin() + checked(index));
    return *this;
  }
  OdArray& removeLast() {
    m_items.erase(m_items.begin() + checked(size() - 1));
    return *this;
  }
  void clear() { m_items.clear(); }
  void resize(size_type n) { m_items.resize(n); }
  void reserve(size_type n) { m_items.reserve(n); }

  bool find(const T& value, size_type& foundAt, size_type start = 0) const {
    if (start >= size()) return false;
    auto it = std::find(m_items.begin() + start, m_items.end(), value);
    if (it == m_items.end()) return false;
    foundAt = static_cast<size_type>(it - m_items.begin());
    return true;
  }
  bool contains(const T& value, size_type start = 0) const {
    size_type ignored;
    return find(value, ignored, start);
  }

  iterator begin() { return m_items.begin(); }
  iterator end() { return m_items.end(); }
  const_iterator begin() const { return m_items.begin(); }
  const_iterator end() const { return m_items.end(); }
  T* asArrayPtr() { return m_items.data(); }
  const T* asArrayPtr() const { return m_items.data(); }

  friend bool operator==(const OdArray& a, const OdArray& b) { return a.m_items == b.m_items; }

 private:
  size_type checked(size_type index) const { return checked(index, size()); }
  static size_type checked(size_type index, size_type limit) {
    if (index >= limit) [[unlikely]]
      throwInvalidIndex();
    return index;
  }
  [[noreturn, gnu::cold, gnu::noinline]] static void throwInvalidIndex() { throw OdError(L"Invalid index"); }

  std::vector<T> m_items;
};

#endif

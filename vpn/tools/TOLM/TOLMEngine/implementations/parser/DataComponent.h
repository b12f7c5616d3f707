// DataComponent: one element of an XML document, with its attributes and children.
//
// A node owns its children and its attributes; a pointer into the tree never owns. A tree is built
// and read on one thread. The tree knows neither XML syntax nor files.
//
// `GetCount()` counts the nodes of the subtree, the node included, as long as the tree is grown
// through AddChild() and RemoveChild(). Attribute names aren't unique by construction.

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace halvo {

// One attribute of an element.
class DataAttribute {
 public:
  // A name's text, never changed, for as many attributes as have it.
  using SharedName = std::shared_ptr<const std::string>;

  DataAttribute() = default;
  DataAttribute(const std::string& name, const std::string& value)
      : DataAttribute(std::make_shared<const std::string>(name), value) {}
  // For a report of a hundred thousand files, in which a copy of each name in each entry would count.
  DataAttribute(SharedName name, const std::string& value) : m_pName(std::move(name)), m_strValue(value) {}

  [[nodiscard]] std::string GetName() const { return m_pName != nullptr ? *m_pName : std::string(); }
  // Of this attribute alone; a shared name stays as it is.
  void SetName(const std::string& name) { m_pName = std::make_shared<const std::string>(name); }
  [[nodiscard]] std::string GetValue() const { return m_strValue; }
  void SetValue(const std::string& value) { m_strValue = value; }

  // True if the names or the values differ.
  bool operator!=(const DataAttribute& other) const {
    return GetName() != other.GetName() || m_strValue != other.m_strValue;
  }

 private:
  SharedName m_pName;  // null for an empty one
  std::string m_strValue;
};

class DataComponent {
 public:
  // Each child and each record keeps its address until it is removed. Rows of pointers and no linked lists,
  // since a report of a hundred thousand files has a child with two attributes for each.
  using Children = std::vector<std::unique_ptr<DataComponent>>;
  using Attributes = std::vector<std::unique_ptr<DataAttribute>>;

  DataComponent() = default;
  DataComponent(const std::string& name, const std::string& value) : m_strName(name), m_strValue(value) {}

  // A deep copy. Every copied node keeps the parent pointer of its source, so the parents inside a
  // copy lead back into the source tree: a copy is for reading downward only.
  DataComponent(const DataComponent& other);
  DataComponent& operator=(const DataComponent& other);

  // Destroys the attributes first, then the children.
  ~DataComponent();

  // True until the first successful AddChild(), and never again after it.
  [[nodiscard]] bool IsLeaf() const { return m_bIsLeaf; }
  [[nodiscard]] std::string GetName() const { return m_strName; }
  void SetName(const std::string& name);
  // The element's own text exactly as accumulated, never trimmed.
  [[nodiscard]] std::string GetValue() const { return m_strValue; }
  void SetValue(const std::string& value) { m_strValue = value; }
  void AppendValue(const std::string& text) { m_strValue += text; }
  // Null for a root. Not to be used on a copy.
  [[nodiscard]] DataComponent* GetParent() const { return m_pParent; }
  [[nodiscard]] std::uint32_t GetCount() const { return m_nCount; }

  // Children and attributes in document order.
  [[nodiscard]] const Children& GetChildren() const { return m_Children; }
  [[nodiscard]] const Attributes& GetAttributes() const { return m_Attributes; }

  // Add to or subtract from the count of this node and of every node up the parent chain.
  void IncreaseCount(std::uint32_t n);
  void DecreaseCount(std::uint32_t n);

  // Makes a new child at the end and returns it.
  DataComponent* AddChild(const std::string& name, const std::string& value);
  // Takes the node in as the last child. Null, or a node whose count is 0, is ignored and stays the
  // caller's.
  void AddChild(std::unique_ptr<DataComponent>&& node);

  // Destroys a direct child with its subtree; any other pointer is ignored.
  void RemoveChild(const DataComponent* node);
  // Removes what FindChild(name) finds if it is a direct child. A hit deeper than one level stays in
  // the tree: no deep removal exists.
  void RemoveChild(const std::string& name);

  // The first descendant of that name, depth first: a deeper match under an earlier sibling beats a
  // direct child that comes later. The node itself is never tested. Null if nothing matches. Names
  // compare byte by byte.
  [[nodiscard]] DataComponent* FindChild(const std::string& name) const;

  // Appends; an attribute of the same name stays beside the new one. Returns its position, which holds
  // until the next change to the attributes.
  Attributes::iterator AddAttribute(const std::string& name, const std::string& value);
  // Appends this very record. Null is ignored.
  void AddAttribute(std::unique_ptr<DataAttribute> attribute);
  // Destroys the first attribute of that name, if any.
  void RemoveAttribute(const std::string& name);
  // Destroys the record with that identity, if it is in the list.
  void RemoveAttribute(const DataAttribute* attribute);
  // The first attribute of that name in list order, null if none.
  [[nodiscard]] const DataAttribute* FindAttribute(const std::string& name) const;

  // True if name, value, leaf state or parent differ, or the lists differ in length or, place by
  // place, in identity. Two separately built trees so differ unless both are bare.
  bool operator!=(const DataComponent& other) const;

  // A number that no two changes to the elements of any tree leave the same: what FindChild() gave holds
  // as long as it is the old one. Adding, removing, renaming, assigning and destroying elements count.
  [[nodiscard]] static std::uint64_t changeNumber();

 private:
  void copyLists(const DataComponent& other);

  bool m_bIsLeaf = true;
  std::string m_strName;
  std::string m_strValue;
  DataComponent* m_pParent = nullptr;
  std::uint32_t m_nCount = 1;
  Children m_Children;
  Attributes m_Attributes;
};

}  // namespace halvo

// XMLObject: the owning handle of a whole element tree.
//
// A null root is legal and means that there is no document. The handle keeps its own node count,
// apart from the nodes'. Used on one thread.

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/DataComponent.h"

namespace halvo {

class XMLObject {
 public:
  XMLObject() = default;
  XMLObject(const std::string& name, const std::string& value);
  // A deep copy of the node and its subtree; null gives an empty object.
  explicit XMLObject(const DataComponent* node);
  // A deep copy. The source must have a root.
  XMLObject(const XMLObject& other);
  XMLObject& operator=(const XMLObject& other);
  ~XMLObject() = default;

  [[nodiscard]] DataComponent* GetRoot() const { return m_pRoot.get(); }
  // Takes ownership. An earlier root isn't freed: it stays with whoever still points to it.
  void SetRoot(std::unique_ptr<DataComponent> node);
  // Creates a root if there is none, then sets its name and value.
  void SetRootElement(const std::string& name, const std::string& value);

  [[nodiscard]] std::uint32_t GetCount() const { return m_nCount; }
  void IncreaseCount(std::uint32_t n) { m_nCount += n; }
  void DecreaseCount(std::uint32_t n) { m_nCount -= n; }

  // Empty without a root.
  [[nodiscard]] std::string GetRootName() const;
  // Nothing without a root; a count of 0 becomes 1.
  void SetRootName(const std::string& name);
  // The root must exist.
  [[nodiscard]] std::string GetRootValue() const;
  // Nothing without a root.
  void SetRootValue(const std::string& value);

  // Takes the node in below `parent`, or as the root where `parent` is null. A null node is ignored.
  void AddChild(DataComponent* parent, std::unique_ptr<DataComponent>&& node);
  void AddChild(DataComponent* parent, const std::string& name, const std::string& value);
  // Removes a direct child of `parent`. The handle's count goes down even where the node stays,
  // because it isn't a direct child.
  void RemoveChild(DataComponent* parent, const DataComponent* node);
  void RemoveChild(DataComponent* parent, const std::string& name);
  // The node's own FindChild(); `parent` must not be null.
  [[nodiscard]] DataComponent* FindChild(const DataComponent* parent, const std::string& name) const;

  // Forward to the node; a null node makes them do nothing.
  void AddAttribute(DataComponent* node, const std::string& name, const std::string& value);
  void RemoveAttribute(DataComponent* node, const std::string& name);
  [[nodiscard]] const DataAttribute* FindAttribute(const DataComponent* node, const std::string& name) const;

  // Searches `childName` below every element named `groupName`, in document order, the root included
  // and nested groups too; the first hit, or null.
  [[nodiscard]] DataComponent* FindChildInGroup(const std::string& groupName,
                                                const std::string& childName) const;

 private:
  std::unique_ptr<DataComponent> m_pRoot;
  std::uint32_t m_nCount = 0;
};

}  // namespace halvo

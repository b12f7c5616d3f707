#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/XMLObject.h"

#include <utility>

namespace halvo {

namespace {

// Walks the subtree in document order; at each node named `groupName`, searches `childName` below it.
DataComponent* findInGroups(const DataComponent& node, const std::string& groupName,
                            const std::string& childName) {
  if (node.GetName() == groupName) {
    if (DataComponent* hit = node.FindChild(childName); hit != nullptr) {
      return hit;
    }
  }
  for (const auto& child : node.GetChildren()) {
    if (DataComponent* hit = findInGroups(*child, groupName, childName); hit != nullptr) {
      return hit;
    }
  }
  return nullptr;
}

}  // namespace

XMLObject::XMLObject(const std::string& name, const std::string& value)
    : m_pRoot(std::make_unique<DataComponent>(name, value)), m_nCount(1) {}

XMLObject::XMLObject(const DataComponent* node) {
  if (node != nullptr) {
    m_pRoot = std::make_unique<DataComponent>(*node);
    m_nCount = node->GetCount();
  }
}

XMLObject::XMLObject(const XMLObject& other)
    : m_pRoot(std::make_unique<DataComponent>(*other.m_pRoot)), m_nCount(other.m_nCount) {}

XMLObject& XMLObject::operator=(const XMLObject& other) {
  if (this == &other) {
    return *this;
  }
  if (other.m_pRoot == nullptr) {
    m_pRoot.reset();
  } else {
    if (m_pRoot == nullptr) {
      m_pRoot = std::make_unique<DataComponent>();
    }
    // Into the root that is there: whoever points to it keeps it.
    *m_pRoot = *other.m_pRoot;
  }
  m_nCount = other.m_nCount;
  return *this;
}

void XMLObject::SetRoot(std::unique_ptr<DataComponent> node) {
  // Not freed, as the header says: whoever points into it goes on doing so.
  static_cast<void>(m_pRoot.release());
  m_pRoot = std::move(node);
  if (m_pRoot != nullptr) {
    m_nCount = m_pRoot->GetCount();
  }
}

void XMLObject::SetRootElement(const std::string& name, const std::string& value) {
  if (m_pRoot == nullptr) {
    m_pRoot = std::make_unique<DataComponent>();
    m_nCount = 1;
  }
  m_pRoot->SetName(name);
  m_pRoot->SetValue(value);
}

std::string XMLObject::GetRootName() const {
  return m_pRoot != nullptr ? m_pRoot->GetName() : std::string();
}

void XMLObject::SetRootName(const std::string& name) {
  if (m_pRoot == nullptr) {
    return;
  }
  m_pRoot->SetName(name);
  if (m_nCount == 0) {
    m_nCount = 1;
  }
}

std::string XMLObject::GetRootValue() const {
  return m_pRoot->GetValue();
}

void XMLObject::SetRootValue(const std::string& value) {
  if (m_pRoot != nullptr) {
    m_pRoot->SetValue(value);
  }
}

void XMLObject::AddChild(DataComponent* parent, std::unique_ptr<DataComponent>&& node) {
  if (node == nullptr) {
    return;
  }
  if (parent == nullptr) {
    SetRoot(std::move(node));
    return;
  }
  m_nCount += node->GetCount();
  parent->AddChild(std::move(node));
}

void XMLObject::AddChild(DataComponent* parent, const std::string& name, const std::string& value) {
  if (parent == nullptr) {
    SetRootElement(name, value);
    return;
  }
  ++m_nCount;
  parent->AddChild(name, value);
}

void XMLObject::RemoveChild(DataComponent* parent, const DataComponent* node) {
  if (parent == nullptr || node == nullptr) {
    return;
  }
  // Ahead of the removal, which ends the node; also for one that is no direct child, and stays.
  m_nCount -= node->GetCount();
  parent->RemoveChild(node);
}

void XMLObject::RemoveChild(DataComponent* parent, const std::string& name) {
  if (parent != nullptr) {
    RemoveChild(parent, parent->FindChild(name));
  }
}

DataComponent* XMLObject::FindChild(const DataComponent* parent, const std::string& name) const {
  return parent->FindChild(name);
}

void XMLObject::AddAttribute(DataComponent* node, const std::string& name, const std::string& value) {
  if (node != nullptr) {
    node->AddAttribute(name, value);
  }
}

void XMLObject::RemoveAttribute(DataComponent* node, const std::string& name) {
  if (node != nullptr) {
    node->RemoveAttribute(name);
  }
}

const DataAttribute* XMLObject::FindAttribute(const DataComponent* node, const std::string& name) const {
  return node != nullptr ? node->FindAttribute(name) : nullptr;
}

DataComponent* XMLObject::FindChildInGroup(const std::string& groupName, const std::string& childName) const {
  return m_pRoot != nullptr ? findInGroups(*m_pRoot, groupName, childName) : nullptr;
}

}  // namespace halvo

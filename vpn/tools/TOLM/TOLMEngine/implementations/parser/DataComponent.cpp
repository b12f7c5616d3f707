#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/DataComponent.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace halvo {

namespace {

// One for all trees: a number of a tree's own could be met again in another tree at the same address.
constinit std::atomic<std::uint64_t> s_nChanges{0};

void countChange() {
  s_nChanges.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

std::uint64_t DataComponent::changeNumber() {
  return s_nChanges.load(std::memory_order_relaxed);
}

// No change that counts: nobody has looked anything up in the copy yet.
DataComponent::DataComponent(const DataComponent& other)
    : m_bIsLeaf(other.m_bIsLeaf),
      m_strName(other.m_strName),
      m_strValue(other.m_strValue),
      m_pParent(other.m_pParent),
      m_nCount(other.m_nCount) {
  copyLists(other);
}

DataComponent& DataComponent::operator=(const DataComponent& other) {
  if (this != &other) {
    countChange();
    m_strName = other.m_strName;
    m_strValue = other.m_strValue;
    m_bIsLeaf = other.m_bIsLeaf;
    m_pParent = other.m_pParent;
    m_nCount = other.m_nCount;
    m_Attributes.clear();
    m_Children.clear();
    copyLists(other);
  }
  return *this;
}

void DataComponent::SetName(const std::string& name) {
  countChange();
  m_strName = name;
}

DataComponent::~DataComponent() {
  countChange();
  m_Attributes.clear();
  m_Children.clear();
  m_pParent = nullptr;
}

void DataComponent::copyLists(const DataComponent& other) {
  for (const auto& child : other.m_Children) {
    m_Children.push_back(std::make_unique<DataComponent>(*child));
  }
  for (const auto& attribute : other.m_Attributes) {
    m_Attributes.push_back(std::make_unique<DataAttribute>(*attribute));
  }
}

void DataComponent::IncreaseCount(std::uint32_t n) {
  for (DataComponent* node = this; node != nullptr; node = node->m_pParent) {
    node->m_nCount += n;
  }
}

void DataComponent::DecreaseCount(std::uint32_t n) {
  for (DataComponent* node = this; node != nullptr; node = node->m_pParent) {
    node->m_nCount -= n;
  }
}

DataComponent* DataComponent::AddChild(const std::string& name, const std::string& value) {
  AddChild(std::make_unique<DataComponent>(name, value));
  // A new node counts 1, and so is always taken in.
  return m_Children.back().get();
}

void DataComponent::AddChild(std::unique_ptr<DataComponent>&& node) {
  if (node == nullptr || node->m_nCount == 0) {
    return;
  }
  countChange();
  node->m_pParent = this;
  const std::uint32_t added = node->m_nCount;
  m_Children.push_back(std::move(node));
  IncreaseCount(added);
  m_bIsLeaf = false;
}

void DataComponent::RemoveChild(const DataComponent* node) {
  if (node == nullptr) {
    return;
  }
  const auto found = std::find_if(m_Children.begin(), m_Children.end(),
                                  [node](const auto& child) { return child.get() == node; });
  if (found == m_Children.end()) {
    return;
  }
  countChange();
  DecreaseCount((*found)->m_nCount);
  m_Children.erase(found);
}

void DataComponent::RemoveChild(const std::string& name) {
  // Found at any depth, and removed from among the children alone: what lies deeper stays. Meant so.
  RemoveChild(FindChild(name));
}

DataComponent* DataComponent::FindChild(const std::string& name) const {
  for (const auto& child : m_Children) {
    if (child->m_strName == name) {
      return child.get();
    }
    if (DataComponent* deeper = child->FindChild(name); deeper != nullptr) {
      return deeper;
    }
  }
  return nullptr;
}

DataComponent::Attributes::iterator DataComponent::AddAttribute(const std::string& name,
                                                                const std::string& value) {
  // No change that counts: nothing is looked for by an attribute.
  m_Attributes.push_back(std::make_unique<DataAttribute>(name, value));
  return std::prev(m_Attributes.end());
}

void DataComponent::AddAttribute(std::unique_ptr<DataAttribute> attribute) {
  if (attribute != nullptr) {
    m_Attributes.push_back(std::move(attribute));
  }
}

void DataComponent::RemoveAttribute(const std::string& name) {
  RemoveAttribute(FindAttribute(name));
}

void DataComponent::RemoveAttribute(const DataAttribute* attribute) {
  const auto found = std::find_if(m_Attributes.begin(), m_Attributes.end(),
                                  [attribute](const auto& entry) { return entry.get() == attribute; });
  if (found != m_Attributes.end()) {
    m_Attributes.erase(found);
  }
}

const DataAttribute* DataComponent::FindAttribute(const std::string& name) const {
  const auto found = std::find_if(m_Attributes.begin(), m_Attributes.end(),
                                  [&name](const auto& entry) { return entry->GetName() == name; });
  return found != m_Attributes.end() ? found->get() : nullptr;
}

bool DataComponent::operator!=(const DataComponent& other) const {
  const auto same = [](const auto& left, const auto& right) { return left.get() == right.get(); };
  return m_strName != other.m_strName || m_strValue != other.m_strValue || m_bIsLeaf != other.m_bIsLeaf ||
         m_pParent != other.m_pParent ||
         !std::equal(m_Children.begin(), m_Children.end(), other.m_Children.begin(), other.m_Children.end(),
                     same) ||
         !std::equal(m_Attributes.begin(), m_Attributes.end(), other.m_Attributes.begin(),
                     other.m_Attributes.end(), same);
}

}  // namespace halvo

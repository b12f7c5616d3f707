#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/DataComponent.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

#include <memory>
#include <utility>

#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMXmlMgr.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/XMLObject.h"

namespace halvo {
namespace {

TEST(DataAttributeTest, DiffersByNameOrValue) {
  const DataAttribute attribute("a", "1");
  EXPECT_FALSE(attribute != DataAttribute("a", "1"));
  EXPECT_TRUE(attribute != DataAttribute("a", "2"));
  EXPECT_TRUE(attribute != DataAttribute("b", "1"));
  EXPECT_TRUE(attribute != DataAttribute());
  DataAttribute changed;
  changed.SetName("a");
  changed.SetValue("1");
  EXPECT_FALSE(attribute != changed);
}

TEST(DataAttributeTest, RenamingOneThatSharesItsNameLeavesTheOthers) {
  const auto name = std::make_shared<const std::string>("a");
  DataAttribute first(name, "1");
  const DataAttribute second(name, "2");
  first.SetName("b");
  EXPECT_EQ(first.GetName(), "b");
  EXPECT_EQ(second.GetName(), "a");
  EXPECT_EQ(*name, "a");
  EXPECT_EQ(DataAttribute(DataAttribute::SharedName(), "1").GetName(), "");
}

TEST(DataComponentTest, NewNodeIsALeafAndCountsItself) {
  const DataComponent empty;
  EXPECT_TRUE(empty.IsLeaf());
  EXPECT_EQ(empty.GetCount(), 1U);
  EXPECT_EQ(empty.GetParent(), nullptr);
  const DataComponent named("n", "v");
  EXPECT_EQ(named.GetName(), "n");
  EXPECT_EQ(named.GetValue(), "v");
}

TEST(DataComponentTest, FindChildNeverReturnsTheNodeItself) {
  DataComponent node("a", "");
  EXPECT_EQ(node.FindChild("a"), nullptr);
  const DataComponent* child = node.AddChild("a", "");
  EXPECT_EQ(node.FindChild("a"), child);
}

TEST(DataComponentTest, ADeeperMatchUnderAnEarlierSiblingBeatsALaterDirectChild) {
  DataComponent file("file", "");
  DataComponent* const earlier = file.AddChild("tolm", "");
  const DataComponent* const deep = earlier->AddChild("name", "deep");
  file.AddChild("name", "direct");
  EXPECT_EQ(file.FindChild("name"), deep);
}

TEST(DataComponentTest, NamesCompareByteForByte) {
  DataComponent node("n", "");
  node.AddChild("Tolm", "");
  node.AddChild("tol", "");
  EXPECT_EQ(node.FindChild("tolm"), nullptr);
  EXPECT_EQ(node.FindChild(""), nullptr);
  const DataComponent* const unnamed = node.AddChild("", "");
  EXPECT_EQ(node.FindChild(""), unnamed);
}

TEST(DataComponentTest, CountsGrowAndShrinkUpTheParentChain) {
  DataComponent root("r", "");
  DataComponent* const middle = root.AddChild("m", "");
  auto subtree = std::make_unique<DataComponent>("s", "");
  subtree->AddChild("x", "");
  const DataComponent* const added = subtree.get();
  middle->AddChild(std::move(subtree));
  EXPECT_EQ(subtree, nullptr);
  EXPECT_EQ(root.GetCount(), 4U);
  EXPECT_EQ(middle->GetCount(), 3U);
  EXPECT_EQ(added->GetParent(), middle);
  middle->RemoveChild(added);
  EXPECT_EQ(root.GetCount(), 2U);
  EXPECT_EQ(middle->GetCount(), 1U);
}

TEST(DataComponentTest, NullAndEmptyCountedNodesStayWithTheCaller) {
  DataComponent root("r", "");
  root.AddChild(std::unique_ptr<DataComponent>());
  auto uncounted = std::make_unique<DataComponent>("u", "");
  uncounted->DecreaseCount(1);
  root.AddChild(std::move(uncounted));
  EXPECT_NE(uncounted, nullptr);
  EXPECT_TRUE(root.GetChildren().empty());
  EXPECT_TRUE(root.IsLeaf());
}

TEST(DataComponentTest, RemovingTheOnlyChildLeavesTheNodeNoLeaf) {
  DataComponent root("r", "");
  const DataComponent* const child = root.AddChild("c", "");
  root.RemoveChild(child);
  EXPECT_TRUE(root.GetChildren().empty());
  EXPECT_FALSE(root.IsLeaf());
}

TEST(DataComponentTest, RemoveChildByNameLeavesADeeperHitInTheTree) {
  DataComponent root("r", "");
  DataComponent* const middle = root.AddChild("m", "");
  middle->AddChild("deep", "");
  root.RemoveChild("deep");
  EXPECT_EQ(root.GetCount(), 3U);
  EXPECT_NE(root.FindChild("deep"), nullptr);
  root.RemoveChild("m");
  EXPECT_EQ(root.GetCount(), 1U);
  root.RemoveChild("not there");
  root.RemoveChild(static_cast<const DataComponent*>(nullptr));
}

TEST(DataComponentTest, ADeepCopyKeepsCountsAndTheParentsOfItsSource) {
  DataComponent root("r", "");
  DataComponent* const source = root.AddChild("s", "value");
  source->AddAttribute("id", "1");
  DataComponent* const child = source->AddChild("c", "");
  const DataComponent copy(*source);
  EXPECT_EQ(copy.GetCount(), source->GetCount());
  EXPECT_EQ(copy.GetParent(), &root);
  EXPECT_EQ(copy.GetValue(), "value");
  ASSERT_EQ(copy.GetChildren().size(), 1U);
  EXPECT_NE(copy.GetChildren().front().get(), child);
  EXPECT_EQ(copy.GetChildren().front()->GetParent(), source);
  EXPECT_EQ(copy.FindAttribute("id")->GetValue(), "1");
  EXPECT_FALSE(copy.IsLeaf());
}

TEST(DataComponentTest, AssignmentReplacesWhatWasThereAndSparesItself) {
  DataComponent target("t", "");
  target.AddChild("old", "");
  target.AddAttribute("old", "");
  DataComponent source("s", "v");
  source.AddChild("new", "");
  source.AddAttribute("new", "1");
  target = source;
  EXPECT_EQ(target.GetName(), "s");
  EXPECT_EQ(target.FindChild("old"), nullptr);
  EXPECT_NE(target.FindChild("new"), nullptr);
  EXPECT_EQ(target.FindAttribute("old"), nullptr);
  EXPECT_EQ(target.GetCount(), 2U);
  DataComponent& self = target;
  target = self;
  EXPECT_NE(target.FindChild("new"), nullptr);
}

static_assert(std::is_same_v<decltype(DataComponent().GetName()), std::string> &&
                  std::is_same_v<decltype(DataComponent().GetValue()), std::string> &&
                  std::is_same_v<decltype(DataAttribute().GetName()), std::string> &&
                  std::is_same_v<decltype(DataAttribute().GetValue()), std::string>,
              "accessors return by value: a text stays what it was when the element changes or goes");

// The record was copied and destroyed, so nobody could find it again.
TEST(DataComponentTest, AnAttributeThatIsHandedOverStaysTheSameRecord) {
  DataComponent node("n", "");
  auto attribute = std::make_unique<DataAttribute>("a", "1");
  const DataAttribute* const identity = attribute.get();
  node.AddAttribute("a", "0");
  node.AddAttribute(std::move(attribute));
  for (int i = 0; i < 100; ++i) {
    node.AddAttribute("more", "");
  }
  EXPECT_EQ(identity->GetValue(), "1");
  node.RemoveAttribute("a");
  EXPECT_EQ(node.FindAttribute("a"), identity);
  node.RemoveAttribute(identity);
  EXPECT_EQ(node.FindAttribute("a"), nullptr);
  node.AddAttribute(nullptr);
  EXPECT_EQ(node.GetAttributes().size(), 100U);
}

TEST(DataComponentTest, EveryChangeToAnElementGetsANumber) {
  DataComponent node("n", "");
  std::uint64_t last = DataComponent::changeNumber();
  const auto changed = [&last] { return std::exchange(last, DataComponent::changeNumber()) != last; };
  node.AddChild("c", "");
  EXPECT_TRUE(changed());
  node.SetName("m");
  EXPECT_TRUE(changed());
  node.RemoveChild("c");
  EXPECT_TRUE(changed());
  node = DataComponent("o", "");
  EXPECT_TRUE(changed());
  { const DataComponent gone("g", ""); }
  EXPECT_TRUE(changed());
  node.SetValue("v");
  node.AddAttribute("a", "1");
  EXPECT_FALSE(changed());
}

TEST(DataComponentTest, TwoAttributesOfOneNameAreKeptAndTheFirstIsFound) {
  DataComponent node("n", "");
  node.AddAttribute("id", "first");
  const auto position = node.AddAttribute("id", "second");
  EXPECT_EQ((*position)->GetValue(), "second");
  EXPECT_EQ(node.GetAttributes().size(), 2U);
  EXPECT_EQ(node.FindAttribute("id")->GetValue(), "first");
  node.RemoveAttribute("id");
  EXPECT_EQ(node.FindAttribute("id")->GetValue(), "second");
  node.RemoveAttribute(node.FindAttribute("id"));
  EXPECT_EQ(node.FindAttribute("id"), nullptr);
  node.RemoveAttribute("id");
  node.AddAttribute(std::make_unique<DataAttribute>("x", "y"));
  EXPECT_EQ(node.FindAttribute("x")->GetValue(), "y");
}

TEST(DataComponentTest, SeparatelyBuiltTreesDifferUnlessBothAreBare) {
  DataComponent left("n", "v");
  DataComponent right("n", "v");
  EXPECT_FALSE(left != right);
  left.AddAttribute("a", "1");
  EXPECT_TRUE(left != right);
  right.AddAttribute("a", "1");
  EXPECT_TRUE(left != right);
  DataComponent parentLeft("p", "");
  DataComponent parentRight("p", "");
  parentLeft.AddChild("c", "");
  parentRight.AddChild("c", "");
  EXPECT_TRUE(parentLeft != parentRight);
  EXPECT_TRUE(DataComponent("n", "v") != DataComponent("n", "w"));
  EXPECT_TRUE(DataComponent("n", "v") != DataComponent("m", "v"));
}

TEST(DataComponentTest, NodesDifferByTheirParentAndByHavingHadAChild) {
  DataComponent parent("p", "");
  const DataComponent* const child = parent.AddChild("n", "v");
  EXPECT_TRUE(*child != DataComponent("n", "v"));
  EXPECT_FALSE(*child != DataComponent(*child));
  DataComponent bare("p", "");
  DataComponent once("p", "");
  once.RemoveChild(once.AddChild("n", "v"));
  EXPECT_TRUE(bare != once);
}

TEST(XMLObjectTest, AnEmptyObjectHasNoNameAndNoGroups) {
  XMLObject empty;
  EXPECT_EQ(empty.GetRoot(), nullptr);
  EXPECT_EQ(empty.GetCount(), 0U);
  EXPECT_EQ(empty.GetRootName(), "");
  EXPECT_EQ(empty.FindChildInGroup("configure", "title"), nullptr);
  empty.SetRootName("x");
  empty.SetRootValue("y");
  EXPECT_EQ(empty.GetRoot(), nullptr);
  EXPECT_EQ(XMLObject(static_cast<const DataComponent*>(nullptr)).GetCount(), 0U);
}

TEST(XMLObjectTest, AnObjectOfANodeIsACopyWithTheNodesCount) {
  DataComponent node("n", "v");
  node.AddChild("c", "1")->AddAttribute("a", "2");
  const XMLObject object(&node);
  node.FindChild("c")->SetValue("changed");
  EXPECT_EQ(object.GetCount(), 2U);
  EXPECT_EQ(object.GetRootName(), "n");
  EXPECT_EQ(object.GetRoot()->FindChild("c")->GetValue(), "1");
  EXPECT_EQ(object.GetRoot()->FindChild("c")->FindAttribute("a")->GetValue(), "2");
}

TEST(XMLObjectTest, KeepsItsOwnCount) {
  XMLObject object("root", "v");
  EXPECT_EQ(object.GetCount(), 1U);
  EXPECT_EQ(object.GetRootValue(), "v");
  object.AddChild(object.GetRoot(), "a", "");
  auto subtree = std::make_unique<DataComponent>("b", "");
  subtree->AddChild("c", "");
  object.AddChild(object.GetRoot(), std::move(subtree));
  object.AddChild(object.GetRoot(), std::unique_ptr<DataComponent>());
  EXPECT_EQ(object.GetCount(), 4U);
  object.IncreaseCount(2);
  object.DecreaseCount(1);
  EXPECT_EQ(object.GetCount(), 5U);
}

TEST(XMLObjectTest, RemovingADeeperNodeLowersTheCountThoughTheNodeStays) {
  XMLObject object("root", "");
  object.GetRoot()->AddChild("m", "")->AddChild("deep", "");
  object.IncreaseCount(2);
  object.RemoveChild(object.GetRoot(), "deep");
  EXPECT_EQ(object.GetCount(), 2U);
  EXPECT_NE(object.FindChild(object.GetRoot(), "deep"), nullptr);
  object.RemoveChild(object.GetRoot(), object.FindChild(object.GetRoot(), "m"));
  EXPECT_EQ(object.FindChild(object.GetRoot(), "deep"), nullptr);
  object.RemoveChild(nullptr, "m");
  object.RemoveChild(object.GetRoot(), "m");
  EXPECT_EQ(object.GetCount(), 0U);
}

TEST(XMLObjectTest, ANodeWithoutAParentBecomesTheRoot) {
  XMLObject object;
  auto root = std::make_unique<DataComponent>("r", "");
  root->AddChild("c", "");
  object.AddChild(nullptr, std::move(root));
  EXPECT_EQ(object.GetRootName(), "r");
  EXPECT_EQ(object.GetCount(), 2U);

  XMLObject named;
  named.AddChild(nullptr, "n", "v");
  EXPECT_EQ(named.GetRootName(), "n");
  EXPECT_EQ(named.GetCount(), 1U);
  named.SetRootElement("m", "w");
  EXPECT_EQ(named.GetRootName(), "m");
  EXPECT_EQ(named.GetRootValue(), "w");
}

TEST(XMLObjectTest, SetRootLeavesAnEarlierRootAlone) {
  XMLObject object("first", "");
  const std::unique_ptr<DataComponent> earlier(object.GetRoot());
  object.SetRoot(std::make_unique<DataComponent>("second", ""));
  EXPECT_EQ(object.GetRootName(), "second");
  EXPECT_EQ(earlier->GetName(), "first");
  object.SetRootName("third");
  EXPECT_EQ(object.GetRootName(), "third");
  object.DecreaseCount(1);
  object.SetRootName("fourth");
  EXPECT_EQ(object.GetCount(), 1U);
  object.SetRootValue("value");
  EXPECT_EQ(object.GetRootValue(), "value");
}

TEST(XMLObjectTest, CopiesAndAssignsDeeply) {
  XMLObject source("r", "");
  source.AddChild(source.GetRoot(), "c", "1");
  const XMLObject copy(source);
  EXPECT_EQ(copy.GetCount(), 2U);
  EXPECT_NE(copy.GetRoot(), source.GetRoot());
  XMLObject target;
  target = source;
  EXPECT_EQ(target.FindChild(target.GetRoot(), "c")->GetValue(), "1");
  XMLObject& self = target;
  target = self;
  EXPECT_EQ(target.GetRootName(), "r");
  target = XMLObject();
  EXPECT_EQ(target.GetRoot(), nullptr);
  EXPECT_EQ(target.GetCount(), 0U);
}

TEST(XMLObjectTest, AttributeOperationsTakeANullNodeQuietly) {
  XMLObject object("r", "");
  object.AddAttribute(nullptr, "a", "1");
  object.RemoveAttribute(nullptr, "a");
  EXPECT_EQ(object.FindAttribute(nullptr, "a"), nullptr);
  object.AddAttribute(object.GetRoot(), "a", "1");
  EXPECT_EQ(object.FindAttribute(object.GetRoot(), "a")->GetValue(), "1");
  object.RemoveAttribute(object.GetRoot(), "a");
  EXPECT_EQ(object.FindAttribute(object.GetRoot(), "a"), nullptr);
}

TEST(XMLObjectTest, FindChildInGroupTakesTheFirstGroupThatHasTheChild) {
  XMLObject object("configure", "");
  DataComponent* const root = object.GetRoot();
  root->AddChild("configure", "")->AddChild("other", "");
  DataComponent* const third = root->AddChild("x", "")->AddChild("configure", "");
  const DataComponent* const title = third->AddChild("title", "T");
  EXPECT_EQ(object.FindChildInGroup("configure", "title"), title);
  EXPECT_EQ(object.FindChildInGroup("configure", "absent"), nullptr);
  EXPECT_EQ(object.FindChildInGroup("absent", "title"), nullptr);
}

TEST(TOLMXmlMgrTest, GrowsATreeInDocumentOrder) {
  TOLMXmlMgr mgr;
  mgr.elementValue("text ahead of the root is nobody's");
  mgr.addAttribute("so", "too");
  mgr.startElement("r");
  mgr.addAttribute("a", "1");
  mgr.addAttribute("a", "2");
  mgr.startElement("c");
  mgr.elementValue("one ");
  mgr.elementValue("");
  mgr.elementValue("two");
  mgr.endElement("c");
  mgr.elementValue("\n");
  mgr.startElement("d");
  mgr.endElement("d");
  mgr.endElement("r");
  const DataComponent* const root = mgr.GetXMLObject()->GetRoot();
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->GetAttributes().size(), 2U);
  EXPECT_EQ(root->GetChildren().size(), 2U);
  EXPECT_EQ(root->FindChild("c")->GetValue(), "one two");
  EXPECT_EQ(root->GetValue(), "\n");
  EXPECT_EQ(root->GetCount(), 3U);
}

TEST(TOLMXmlMgrTest, AnEndTagOfAnotherNameIsNotNoticed) {
  TOLMXmlMgr mgr;
  mgr.startElement("r");
  mgr.startElement("c");
  mgr.endElement("something else");
  mgr.startElement("d");
  EXPECT_EQ(mgr.GetXMLObject()->GetRoot()->GetChildren().size(), 2U);
  mgr.endElement("d");
  mgr.endElement("r");
  mgr.endElement("one too many");
}

}  // namespace
}  // namespace halvo

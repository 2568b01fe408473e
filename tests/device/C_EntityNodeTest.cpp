#include "device/C_EntityNode.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "module/E_Status.h"
#include "support/C_FakeDevice.h"

namespace {

std::vector<C_EntityNode*> ChildrenOf(C_EntityNode& i_node) {
  return std::vector<C_EntityNode*>(i_node.ChildrenBegin(), i_node.ChildrenEnd());
}

TEST(C_EntityNodeTest, SetParentMovesTheNodeBetweenLists) {
  C_FakeDevice first, second;
  C_FakeDevice* a = new C_FakeDevice("a");
  C_FakeDevice* b = new C_FakeDevice("b");
  a->SetParent(&first);
  b->SetParent(&first);
  a->SetParent(&first);  // listed once, now at the end
  EXPECT_EQ(ChildrenOf(first), (std::vector<C_EntityNode*>{b, a}));
  b->SetParent(&second);
  EXPECT_EQ(ChildrenOf(first), (std::vector<C_EntityNode*>{a}));
  EXPECT_EQ(ChildrenOf(second), (std::vector<C_EntityNode*>{b}));
  b->SetParent(nullptr);
  EXPECT_FALSE(second.HasChildren());
  EXPECT_FALSE(b->HasParent());
  delete b;
  // Routes a node does not offer.
  EXPECT_EQ(first.SCSIPassThruCommand(nullptr, nullptr), VEK_STATUS_NOT_SUPPORTED);
  EXPECT_EQ(first.IdentifyPhysicalDevice(nullptr, nullptr), VEK_STATUS_NOT_SUPPORTED);
}

// Children go in list order, each taken off the list before its own
// teardown; a throwing child ends the walk but not the parent.
TEST(C_EntityNodeTest, DestructionOrderAndAThrowingChild) {
  std::vector<std::string> destroyed;
  C_FakeDevice* root = new C_FakeDevice("root");
  root->m_onDestroy = [&destroyed](C_FakeDevice*) { destroyed.push_back("root"); };
  C_FakeDevice* late = nullptr;
  for (const char* name : {"a", "b", "thrower", "late"}) {
    C_FakeDevice* child = new C_FakeDevice(name);
    child->SetParent(root);
    child->m_onDestroy = [&destroyed, root](C_FakeDevice* self) {
      destroyed.push_back(self->GetVendorId());
      for (auto it = root->ChildrenBegin(); it != root->ChildrenEnd(); ++it) EXPECT_NE(*it, self);
    };
    child->m_throwOnDestroy = std::string(name) == "thrower";
    late = child;
  }
  EXPECT_NO_THROW(delete root);
  EXPECT_EQ(destroyed, (std::vector<std::string>{"root", "a", "b", "thrower"}));
  // The walk stopped: "late" was never destroyed; release it here.
  late->m_onDestroy = nullptr;
  delete late;
}

}  // namespace

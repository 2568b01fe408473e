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

TEST(C_EntityNodeTest, SetParentTwiceListsTheNodeOnceAtTheEnd) {
  C_FakeDevice parent;
  C_FakeDevice* a = new C_FakeDevice("a");
  C_FakeDevice* b = new C_FakeDevice("b");
  a->SetParent(&parent);
  b->SetParent(&parent);
  a->SetParent(&parent);
  EXPECT_EQ(ChildrenOf(parent), (std::vector<C_EntityNode*>{b, a}));
  EXPECT_EQ(a->GetParent(), &parent);
}

TEST(C_EntityNodeTest, MovingAndDetachingUpdateBothLists) {
  C_FakeDevice first, second;
  C_FakeDevice* child = new C_FakeDevice;
  child->SetParent(&first);
  child->SetParent(&second);
  EXPECT_FALSE(first.HasChildren());
  EXPECT_EQ(ChildrenOf(second), (std::vector<C_EntityNode*>{child}));
  child->SetParent(nullptr);
  EXPECT_FALSE(second.HasChildren());
  EXPECT_FALSE(child->HasParent());
  delete child;
}

TEST(C_EntityNodeTest, DestroysChildrenInListOrderAndNullsEachEntryFirst) {
  std::vector<std::string> order;
  C_FakeDevice* root = new C_FakeDevice("root");
  for (const char* name : {"x", "y", "z"}) {
    C_FakeDevice* child = new C_FakeDevice(name);
    child->SetParent(root);
    child->m_onDestroy = [&order, root](C_FakeDevice* self) {
      order.push_back(self->GetVendorId());
      // The child's own teardown never sees itself in the parent's list.
      for (auto it = root->ChildrenBegin(); it != root->ChildrenEnd(); ++it) {
        EXPECT_NE(*it, self);
      }
    };
  }
  delete root;
  EXPECT_EQ(order, (std::vector<std::string>{"x", "y", "z"}));
}

TEST(C_EntityNodeTest, AThrowingChildStopsTheWalkButNotTheParent) {
  std::vector<std::string> destroyed;
  C_FakeDevice* root = new C_FakeDevice("root");
  root->m_onDestroy = [&destroyed](C_FakeDevice*) { destroyed.push_back("root"); };
  C_FakeDevice* late = nullptr;
  for (const char* name : {"a", "thrower", "late"}) {
    C_FakeDevice* child = new C_FakeDevice(name);
    child->SetParent(root);
    child->m_onDestroy = [&destroyed](C_FakeDevice* self) { destroyed.push_back(self->GetVendorId()); };
    if (std::string(name) == "thrower") child->m_throwOnDestroy = true;
    if (std::string(name) == "late") late = child;
  }
  EXPECT_NO_THROW(delete root);
  EXPECT_EQ(destroyed, (std::vector<std::string>{"root", "a", "thrower"}));
  // The walk stopped: "late" was never destroyed; release it here.
  late->m_onDestroy = nullptr;
  delete late;
}

TEST(C_EntityNodeTest, DefaultRoutesAreNotOffered) {
  C_FakeDevice node;
  EXPECT_EQ(node.SCSIPassThruCommand(nullptr, nullptr), VEK_STATUS_NOT_SUPPORTED);
  EXPECT_EQ(node.IdentifyPhysicalDevice(nullptr, nullptr), VEK_STATUS_NOT_SUPPORTED);
}

}  // namespace

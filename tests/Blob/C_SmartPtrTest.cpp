#include "Blob/C_SmartPtr.h"

#include <gtest/gtest.h>

#include "Blob/C_Blob.h"
#include "targets/C_MPData.h"

namespace {

// Counts destructions so that a test can see exactly when, and how often,
// an instance goes.
struct S_Counted {
  static int sm_destroyed;
  explicit S_Counted(int i_value = 0) : value(i_value) {}
  virtual ~S_Counted() { ++sm_destroyed; }
  int value;
};
int S_Counted::sm_destroyed = 0;

struct S_DerivedCounted : S_Counted {
  static int sm_derivedDestroyed;
  ~S_DerivedCounted() override { ++sm_derivedDestroyed; }
};
int S_DerivedCounted::sm_derivedDestroyed = 0;

class C_SmartPtrTest : public ::testing::Test {
 protected:
  void SetUp() override { S_Counted::sm_destroyed = S_DerivedCounted::sm_derivedDestroyed = 0; }
};

// Assignment within one buffer is covered through C_Blob; here the moment
// an instance is destroyed.
TEST_F(C_SmartPtrTest, CountsCopiesAndDestroysOnLastRelease) {
  C_SmartPtr<S_Counted> a(new S_Counted(1));
  C_SmartPtr<S_Counted> b(new S_Counted(2));
  C_SmartPtr<S_Counted> copy(b);
  a = b;  // a's instance had one reference: it goes now
  EXPECT_EQ(S_Counted::sm_destroyed, 1);
  EXPECT_EQ(a->value, 2);
  EXPECT_EQ(b.GetReferenceCount(), 3);
  a.Release();
  a.Release();  // releasing an empty pointer is harmless
  EXPECT_EQ(a.GetReferenceCount(), 0);
  copy = C_SmartPtr<S_Counted>();
  EXPECT_EQ(b.GetReferenceCount(), 1);
  b.Release();
  EXPECT_EQ(S_Counted::sm_destroyed, 2);
}

// Identity is the instance, not the node: two nodes that wrap one object
// compare equal, and assigning one to the other keeps each its own node.
TEST_F(C_SmartPtrTest, IdentityIsTheInstanceAndTheCountIsClamped) {
  S_Counted object(5);
  C_SmartPtr<S_Counted> viaFirst(new C_NonConstReference<S_Counted>(&object, nullptr));
  C_SmartPtr<S_Counted> viaSecond(new C_NonConstReference<S_Counted>(&object, nullptr));
  EXPECT_TRUE(viaFirst == viaSecond);
  viaFirst = viaSecond;
  EXPECT_EQ(viaFirst.GetReferenceCount(), 1);
  EXPECT_EQ(viaSecond.GetReferenceCount(), 1);

  C_SmartPtr<S_Counted> other(new S_Counted(5));
  EXPECT_TRUE(viaFirst != other);
  EXPECT_TRUE(C_SmartPtr<S_Counted>() == C_SmartPtr<S_Counted>());
  EXPECT_FALSE(other == C_SmartPtr<S_Counted>());

  // The count is clamped at zero: a surplus release never goes negative.
  C_NonConstReference<S_Counted> node(&object, nullptr);
  EXPECT_EQ(node.RemoveReference(), 0);
  EXPECT_EQ(node.AddReference(), 1);
  EXPECT_EQ(node.AddReference(), 2);
  EXPECT_EQ(node.RemoveReference(), 1);
  EXPECT_EQ(node.RemoveReference(), 0);
  EXPECT_EQ(node.RemoveReference(), 0);
}

void* s_deletedInstance = nullptr;
int s_deleterCalls = 0;
void RecordingDeleter(void* i_instance) {
  s_deletedInstance = i_instance;
  ++s_deleterCalls;
}

// An owning node deletes its instance with its deleter when it goes; a node
// that does not own it, or has no deleter, leaves it alone.
TEST_F(C_SmartPtrTest, NodeOwnershipAndDeleter) {
  S_Counted kept;
  { C_NonConstReference<S_Counted> notOwning(&kept, &C_NonConstReference<S_Counted>::StandardDeleter, false); }
  { C_NonConstReference<S_Counted> noDeleter(&kept, nullptr); }
  EXPECT_EQ(S_Counted::sm_destroyed, 0);

  C_SmartPtr<S_Counted> a(new C_NonConstReference<S_Counted>(&kept, &RecordingDeleter));
  C_SmartPtr<S_Counted> b(a);
  a.Release();
  EXPECT_EQ(s_deleterCalls, 0);
  b.Release();
  EXPECT_EQ(s_deleterCalls, 1);
  EXPECT_EQ(s_deletedInstance, &kept);

  // The standard deleter destroys through the virtual destructor and
  // ignores null.
  { C_SmartPtr<S_Counted> derived(new S_DerivedCounted); }
  C_NonConstReference<S_Counted>::StandardDeleter(nullptr);
  EXPECT_EQ(S_DerivedCounted::sm_derivedDestroyed, 1);
  EXPECT_EQ(S_Counted::sm_destroyed, 1);
}

// The library's own instantiations (char, C_MPData) behave the same.
TEST_F(C_SmartPtrTest, ExportedInstantiations) {
  C_SmartPtr<char> letter(new char('x'));
  C_SmartPtr<char> copy(letter);
  EXPECT_EQ(*copy, 'x');
  EXPECT_EQ(letter.GetReferenceCount(), 2);

  const unsigned char page[] = {0x08, 0x12, 0x04, 0x00};
  C_SmartPtr<C_MPData> data(new C_MPData(0x08, C_Blob(page, sizeof page, false)));
  C_SmartPtr<C_MPData> shared = data;
  EXPECT_EQ(shared->GetPageLength(), sizeof page);
  EXPECT_EQ(data.GetReferenceCount(), 2);
}

}  // namespace

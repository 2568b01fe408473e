#include "Blob/C_SmartPtr.h"

#include <gtest/gtest.h>

namespace {

// Counts destructions so that a test can see exactly when, and how often,
// an instance goes.
struct S_Counted {
  static inline int destroyed = 0;
  explicit S_Counted(int i_value = 0) : value(i_value) {}
  virtual ~S_Counted() { ++destroyed; }
  int value;
};
struct S_DerivedCounted : S_Counted {
  static inline int destroyed = 0;
  ~S_DerivedCounted() override { ++destroyed; }
};

void* s_deleted = nullptr;
void RecordingDeleter(void* i_instance) { s_deleted = i_instance; }

// Assignment within one buffer is covered through C_Blob; here the moment
// an instance is destroyed, through the standard deleter (the virtual
// destructor) or a node's own.
TEST(C_SmartPtrTest, TheLastReleaseDestroysTheInstance) {
  S_Counted::destroyed = S_DerivedCounted::destroyed = 0;
  C_SmartPtr<S_Counted> a(new S_Counted(1));
  C_SmartPtr<S_Counted> b(new S_DerivedCounted);
  C_SmartPtr<S_Counted> copy(b);
  a = b;  // a's instance had one reference: it goes now
  EXPECT_EQ(S_Counted::destroyed, 1);
  EXPECT_EQ(b.GetReferenceCount(), 3);
  a.Release();
  a.Release();  // releasing an empty pointer is harmless
  copy = C_SmartPtr<S_Counted>();
  EXPECT_EQ(b.GetReferenceCount(), 1);
  b.Release();
  EXPECT_EQ(S_Counted::destroyed, 2);
  EXPECT_EQ(S_DerivedCounted::destroyed, 1);

  // A node that does not own its instance, or has no deleter, leaves it alone.
  S_Counted kept;
  { C_NonConstReference<S_Counted> notOwning(&kept, &C_NonConstReference<S_Counted>::StandardDeleter, false); }
  { C_NonConstReference<S_Counted> noDeleter(&kept, nullptr); }
  EXPECT_EQ(S_Counted::destroyed, 2);
  C_SmartPtr<S_Counted> viaDeleter(new C_NonConstReference<S_Counted>(&kept, &RecordingDeleter));
  C_SmartPtr<S_Counted> second(viaDeleter);
  viaDeleter.Release();
  EXPECT_EQ(s_deleted, nullptr);
  second.Release();
  EXPECT_EQ(s_deleted, &kept);
}

// Identity is the instance, not the node: two nodes that wrap one object
// compare equal, and assigning one to the other keeps each its own node.
// The count is clamped at zero: a surplus release never goes negative.
TEST(C_SmartPtrTest, IdentityIsTheInstanceAndTheCountIsClamped) {
  S_Counted object(5);
  C_SmartPtr<S_Counted> viaFirst(new C_NonConstReference<S_Counted>(&object, nullptr));
  C_SmartPtr<S_Counted> viaSecond(new C_NonConstReference<S_Counted>(&object, nullptr));
  EXPECT_TRUE(viaFirst == viaSecond);
  viaFirst = viaSecond;
  EXPECT_EQ(viaFirst.GetReferenceCount(), 1);
  EXPECT_EQ(viaSecond.GetReferenceCount(), 1);
  EXPECT_TRUE(viaFirst != C_SmartPtr<S_Counted>(new S_Counted(5)));
  EXPECT_TRUE(C_SmartPtr<S_Counted>() == C_SmartPtr<S_Counted>());

  C_NonConstReference<S_Counted> node(&object, nullptr);
  EXPECT_EQ(node.RemoveReference(), 0);
  EXPECT_EQ(node.AddReference(), 1);
  EXPECT_EQ(node.AddReference(), 2);
  EXPECT_EQ(node.RemoveReference(), 1);
  EXPECT_EQ(node.RemoveReference(), 0);
  EXPECT_EQ(node.RemoveReference(), 0);
}

}  // namespace

#include "Blob/C_Blob.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/C_Exception.h"

namespace {

std::string BytesOf(const C_Blob& i_blob) {
  unsigned length = 0;
  const unsigned char* data = i_blob.GetData(length);
  return data ? std::string(reinterpret_cast<const char*>(data), length) : std::string();
}

const char kText[] = "firmware image";
const unsigned kTextLength = sizeof kText - 1;

TEST(C_BlobTest, NullOrZeroLengthLeavesBlobEmpty) {
  const unsigned char bytes[] = {1, 2, 3};
  struct S_Case {
    const char* name;
    const void* data;
    unsigned length;
    bool adopt;
  } cases[] = {
      {"zero length, copy", bytes, 0, false},
      {"zero length, adopt", bytes, 0, true},
      {"null data, copy", nullptr, 3, false},
      {"null data, adopt", nullptr, 3, true},
  };
  for (const S_Case& c : cases) {
    SCOPED_TRACE(c.name);
    C_Blob blob(kText, kTextLength, false);
    blob.SetData(c.data, c.length, c.adopt);  // an adopted array would be freed: ASan would tell
    EXPECT_FALSE(blob.HasData());
    EXPECT_EQ(blob.GetDataLen(), 0u);
    unsigned length = 99;
    EXPECT_EQ(blob.GetData(length), nullptr);
    EXPECT_EQ(blob.CopyData(length), nullptr);
    EXPECT_EQ(length, 99u) << "an empty blob leaves the length argument alone";
    EXPECT_TRUE(C_Blob(c.data, c.length, c.adopt).GetSharedData().IsNull());
  }
}

TEST(C_BlobTest, CopyTakesPrivateBytesAdoptTakesTheArray) {
  char source[] = "abcdef";
  C_Blob copied(source, 6, false);
  unsigned length = 0;
  EXPECT_NE(copied.GetData(length), reinterpret_cast<unsigned char*>(source));
  source[0] = 'X';
  EXPECT_EQ(BytesOf(copied), "abcdef");

  unsigned char* array = new unsigned char[4]{'w', 'x', 'y', 'z'};
  C_Blob adopted(array, 4, true);
  EXPECT_EQ(adopted.GetData(length), array);
  EXPECT_EQ(length, 4u);
  // The blob frees the array; a leak or double free shows under ASan.
}

TEST(C_BlobTest, CopyDataGivesACallerOwnedCopy) {
  C_Blob blob(kText, kTextLength, false);
  unsigned length = 0;
  unsigned char* copy = blob.CopyData(length);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(length, kTextLength);
  EXPECT_NE(copy, blob.GetData(length));
  copy[0] = 'F';
  EXPECT_EQ(BytesOf(blob), kText);
  delete[] copy;
}

TEST(C_BlobTest, CopiesShareOneBuffer) {
  C_Blob original(kText, kTextLength, false);
  C_Blob copy(original);
  C_Blob assigned;
  assigned = copy;
  unsigned a = 0, b = 0;
  EXPECT_EQ(original.GetData(a), assigned.GetData(b));
  EXPECT_EQ(original.GetSharedData().GetReferenceCount(), 3);
  copy.ClearData();
  EXPECT_EQ(original.GetSharedData().GetReferenceCount(), 2);
  original.SetData("other", 5, false);
  EXPECT_EQ(BytesOf(assigned), kText);
  EXPECT_EQ(assigned.GetSharedData().GetReferenceCount(), 1);
}

TEST(C_BlobTest, AssignmentWithinOneBufferChangesNoCount) {
  C_Blob a(kText, kTextLength, false);
  C_Blob b(a);
  const C_Blob& self = a;
  a = self;
  a.SetData(b);
  b = a;
  EXPECT_EQ(a.GetSharedData().GetReferenceCount(), 2);
  EXPECT_EQ(BytesOf(a), kText);

  C_Blob empty;
  a = empty;
  EXPECT_FALSE(a.HasData());
  EXPECT_EQ(b.GetSharedData().GetReferenceCount(), 1);
}

TEST(C_BlobTest, SetDataFromItsOwnBytes) {
  C_Blob blob(kText, kTextLength, false);
  unsigned length = 0;
  const unsigned char* own = blob.GetData(length);
  blob.SetData(own + 9, length - 9, false);  // the old buffer goes only after the copy
  EXPECT_EQ(BytesOf(blob), "image");
}

TEST(C_BlobTest, CloneSharesCloneDeepCopies) {
  C_Blob source(kText, kTextLength, false);
  C_SmartPtr<C_Blob> shallow = source.Clone();
  C_SmartPtr<C_Blob> deep = source.CloneDeep();
  unsigned a = 0, b = 0;
  EXPECT_EQ(shallow->GetData(a), source.GetData(b));
  EXPECT_NE(deep->GetData(a), source.GetData(b));
  EXPECT_EQ(BytesOf(*deep), kText);
  EXPECT_EQ(source.GetSharedData().GetReferenceCount(), 2) << "source and shallow clone";
  EXPECT_EQ(deep->GetSharedData().GetReferenceCount(), 1);

  source.SetData("new", 3, false);
  EXPECT_EQ(BytesOf(*shallow), kText) << "a clone keeps the buffer it shared";
  EXPECT_EQ(BytesOf(*deep), kText);
  source.ClearData();
  EXPECT_EQ(BytesOf(*deep), kText);

  C_Blob empty;
  EXPECT_FALSE(empty.CloneDeep()->HasData());
  EXPECT_FALSE(empty.Clone()->HasData());
}

// A blob type that records calls to its virtual SetData, to see that
// assignment and CloneDeep go through it.
class C_RecordingBlob : public C_Blob {
 public:
  using C_Blob::C_Blob;
  using C_Blob::SetData;
  void SetData(const C_Blob& i_other) override {
    ++sharedSets;
    C_Blob::SetData(i_other);
  }
  int sharedSets = 0;
};

TEST(C_BlobTest, AssignmentGoesThroughVirtualSetData) {
  C_RecordingBlob target;
  C_Blob source(kText, kTextLength, false);
  static_cast<C_Blob&>(target) = source;
  EXPECT_EQ(target.sharedSets, 1);
  EXPECT_EQ(BytesOf(target), kText);
}

// Makes each byte allocation of the given size fail, for as long as it lives.
class C_FailAllocations {
 public:
  explicit C_FailAllocations(unsigned i_length) {
    sm_length = i_length;
    C_BlobData::SetAllocationFailureHook([](unsigned i_requested) { return i_requested == sm_length; });
  }
  ~C_FailAllocations() { C_BlobData::SetAllocationFailureHook(nullptr); }

 private:
  static unsigned sm_length;
};
unsigned C_FailAllocations::sm_length = 0;

TEST(C_BlobTest, AllocationFailureIsReportedAsBadAlloc) {
  std::vector<unsigned char> big(4096, 0xA5);
  C_Blob blob(kText, kTextLength, false);
  C_FailAllocations fail(4096);
  try {
    blob.SetData(big.data(), 4096, false);
    FAIL() << "no exception";
  } catch (const C_BadAllocException& e) {
    EXPECT_EQ(e.GetFile(), "Blob/BlobData");
    EXPECT_EQ(e.GetSize(), 4096u);
    EXPECT_EQ(e.GetWhat(), "Blob data");
    EXPECT_EQ(e.GetErrno(), ENOMEM);
  }
  EXPECT_EQ(BytesOf(blob), kText) << "a failed SetData leaves the blob as it was";
  EXPECT_THROW(C_BlobData::Make(big.data(), 4096, false), C_BadAllocException);
  // Adoption allocates no bytes, and other sizes are unaffected.
  EXPECT_NO_THROW(blob.SetData(new unsigned char[4096](), 4096, true));
  EXPECT_NO_THROW(blob.SetData(big.data(), 4095, false));
  EXPECT_EQ(blob.GetDataLen(), 4095u);
}

}  // namespace

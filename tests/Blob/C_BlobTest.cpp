#include "Blob/C_Blob.h"

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
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
  const struct { const void* data; unsigned length; bool adopt; } cases[] = {
      {bytes, 0, false}, {bytes, 0, true}, {nullptr, 3, false}, {nullptr, 3, true}};
  for (const auto& c : cases) {
    C_Blob blob(kText, kTextLength, false);
    blob.SetData(c.data, c.length, c.adopt);  // an adopted stack array would be freed: ASan would tell
    EXPECT_FALSE(blob.HasData());
    unsigned length = 99;
    EXPECT_EQ(blob.GetData(length), nullptr);
    EXPECT_EQ(blob.CopyData(length), nullptr);
    EXPECT_EQ(length, 99u) << "an empty blob leaves the length argument alone";
  }
}

// Copying takes private bytes, adopting takes the array itself (the blob
// frees it: a leak or double free shows under ASan), CopyData gives the
// caller a copy of its own.
TEST(C_BlobTest, CopyAdoptAndCopyData) {
  char source[] = "abcdef";
  C_Blob copied(source, 6, false);
  source[0] = 'X';
  EXPECT_EQ(BytesOf(copied), "abcdef");

  unsigned char* array = new unsigned char[4]{'w', 'x', 'y', 'z'};
  C_Blob adopted(array, 4, true);
  unsigned length = 0;
  EXPECT_EQ(adopted.GetData(length), array);
  EXPECT_EQ(length, 4u);

  unsigned char* copy = copied.CopyData(length);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(length, 6u);
  copy[0] = 'F';
  EXPECT_EQ(BytesOf(copied), "abcdef");
  delete[] copy;
}

// A blob type that counts calls to its virtual SetData: assignment goes
// through it.
class C_RecordingBlob : public C_Blob {
 public:
  using C_Blob::SetData;
  void SetData(const C_Blob& i_other) override {
    ++sharedSets;
    C_Blob::SetData(i_other);
  }
  int sharedSets = 0;
};

TEST(C_BlobTest, CopiesShareOneBufferAndAssignmentWithinItChangesNoCount) {
  C_Blob original(kText, kTextLength, false);
  C_Blob copy(original);
  C_RecordingBlob assigned;
  static_cast<C_Blob&>(assigned) = copy;
  EXPECT_EQ(assigned.sharedSets, 1);
  unsigned a = 0, b = 0;
  EXPECT_EQ(original.GetData(a), assigned.GetData(b));
  EXPECT_EQ(original.GetSharedData().GetReferenceCount(), 3);
  const C_Blob& self = original;
  original = self;
  original.SetData(copy);
  copy = assigned;
  EXPECT_EQ(original.GetSharedData().GetReferenceCount(), 3);
  copy.ClearData();
  EXPECT_EQ(original.GetSharedData().GetReferenceCount(), 2);
  original.SetData("other", 5, false);
  EXPECT_EQ(BytesOf(assigned), kText);
  EXPECT_EQ(assigned.GetSharedData().GetReferenceCount(), 1);
  static_cast<C_Blob&>(assigned) = C_Blob();  // an empty blob empties it
  EXPECT_FALSE(assigned.HasData());

  // A new buffer from the blob's own bytes: the old one goes only after the copy.
  C_Blob blob(kText, kTextLength, false);
  const unsigned char* own = blob.GetData(a);
  blob.SetData(own + 9, a - 9, false);
  EXPECT_EQ(BytesOf(blob), "image");
}

TEST(C_BlobTest, CloneSharesCloneDeepCopies) {
  C_Blob source(kText, kTextLength, false);
  C_SmartPtr<C_Blob> shallow = source.Clone();
  C_SmartPtr<C_Blob> deep = source.CloneDeep();
  unsigned a = 0, b = 0;
  EXPECT_EQ(shallow->GetData(a), source.GetData(b));
  EXPECT_NE(deep->GetData(a), source.GetData(b));
  EXPECT_EQ(source.GetSharedData().GetReferenceCount(), 2) << "source and shallow clone";
  EXPECT_EQ(deep->GetSharedData().GetReferenceCount(), 1);
  source.SetData("new", 3, false);
  EXPECT_EQ(BytesOf(*shallow), kText) << "a clone keeps the buffer it shared";
  EXPECT_EQ(BytesOf(*deep), kText);
  EXPECT_FALSE(C_Blob().CloneDeep()->HasData());
}

// Makes each byte allocation of 4096 bytes fail, for as long as it lives.
struct S_Fail4096 {
  S_Fail4096() {
    C_BlobData::SetAllocationFailureHook([](unsigned i_requested) { return i_requested == 4096; });
  }
  ~S_Fail4096() { C_BlobData::SetAllocationFailureHook(nullptr); }
};

TEST(C_BlobTest, AllocationFailureIsReportedAsBadAlloc) {
  std::vector<unsigned char> big(4096, 0xA5);
  C_Blob blob(kText, kTextLength, false);
  S_Fail4096 fail;
  try {
    blob.SetData(big.data(), 4096, false);
    FAIL() << "no exception";
  } catch (const C_BadAllocException& e) {
    EXPECT_EQ(e.GetFile(), "Blob/BlobData");
    EXPECT_EQ(e.GetSize(), 4096u);
    EXPECT_EQ(e.GetWhat(), "Blob data");
    EXPECT_EQ(e.GetErrno(), ENOMEM);
  }
  EXPECT_FALSE(blob.HasData()) << "SetData releases the old buffer before it makes the new one";
  // Adoption allocates no bytes, and other sizes are unaffected.
  EXPECT_NO_THROW(blob.SetData(new unsigned char[4096](), 4096, true));
  EXPECT_NO_THROW(blob.SetData(big.data(), 4095, false));
  EXPECT_EQ(blob.GetDataLen(), 4095u);
}

// Reference counting under contention; also run under ThreadSanitizer (the
// suite name matches the threaded-test filter of ./run).
// Threads copy, assign and drop handles to one buffer; the count must come
// back to exactly the main thread's one reference, and the bytes stay put.
TEST(C_BlobConcurrencyTest, CopiesAndDropsKeepTheCount) {
  const unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
  C_Blob shared(bytes, sizeof bytes, false);
  std::atomic<int> badReads{0};
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      while (!go.load()) std::this_thread::yield();  // all start together, so they really overlap
      C_Blob mine;
      for (int i = 0; i < 20000; ++i) {
        C_Blob copy(shared);
        mine = copy;
        unsigned length = 0;
        const unsigned char* data = mine.GetData(length);
        if (length != sizeof bytes || data[7] != 8) badReads.fetch_add(1);
        if (i % 3 == 0) mine.ClearData();
      }
    });
  }
  go.store(true);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(badReads.load(), 0);
  EXPECT_EQ(shared.GetSharedData().GetReferenceCount(), 1);
}

}  // namespace

#ifndef VEK_TARGETS_C_MPDATA_H
#define VEK_TARGETS_C_MPDATA_H

#include <cstdint>

#include "Blob/C_Blob.h"
#include "Blob/C_SmartPtr.h"
#include "foundation/Export.h"

// One SCSI mode page kept by a target: its page code and the page bytes as
// the drive returned them (from the page-code byte on), shared as a C_Blob.
// Targets pass it around as C_SmartPtr<C_MPData>; a plain target keeps none.
// Not locked: one thread changes an object at a time; the shared bytes
// themselves never change.
class VEK_API C_MPData {
 public:
  // Page code 0 with no bytes.
  C_MPData() : m_pageCode(0) {}
  // i_pageCode is kept as given (the page code proper is its low six bits;
  // the rest is left to the caller); i_page shares the caller's buffer.
  C_MPData(std::uint8_t i_pageCode, const C_Blob& i_page)
      : m_pageCode(i_pageCode), m_page(i_page) {}
  virtual ~C_MPData();

  std::uint8_t GetPageCode() const { return m_pageCode; }
  const C_Blob& GetPage() const { return m_page; }
  // The number of page bytes held; 0 when none.
  unsigned GetPageLength() const { return m_page.GetDataLen(); }

  void SetPage(std::uint8_t i_pageCode, const C_Blob& i_page) {
    m_pageCode = i_pageCode;
    m_page = i_page;
  }

 private:
  std::uint8_t m_pageCode;
  C_Blob m_page;
};

extern template class C_ReferenceCounter<C_MPData>;
extern template class C_NonConstReference<C_MPData>;
extern template class C_SmartPtr<C_MPData>;

#endif

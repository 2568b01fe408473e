#include "Blob/C_SmartPtr.h"

// The library's one copy of the char instantiation; the other exported
// instantiations live beside their types.
template class C_ReferenceCounter<char>;
template class C_NonConstReference<char>;
template class C_SmartPtr<char>;

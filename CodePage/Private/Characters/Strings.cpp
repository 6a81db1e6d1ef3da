#include "CodePage/Private/Characters/StringImpl.h"

#include <new>

namespace KCodePage {

namespace {

template <class Interface, class Character>
Interface* Create(const Character* text, unsigned length) {
    try {
        return StringImpl<Interface>::Create(text, length, 0);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace

MultiByteString* CreateMultiByteString(const char* text, unsigned length) {
    return Create<MultiByteString>(text, length);
}

UnicodeString* CreateUnicodeString(const unsigned short* text, unsigned length) {
    return Create<UnicodeString>(text, length);
}

} // namespace KCodePage

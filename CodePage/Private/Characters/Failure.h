// The one builder of the failures of the code page core and the tables: domain MESSAGE_DOMAIN_UNKNOWN, id -1.

#pragma once

#include "KBase/Message.h"
#include "KBase/WideStream.h"

namespace KCodePage {

inline KBase::Message CoreMessage(const KBase::WideStream& text) {
    KBase::Message message;
    message.SetDomainAndID(KBase::MESSAGE_DOMAIN_UNKNOWN, -1);
    message.SetMessage(text.Text().c_str());
    return message;
}

template <class Exception>
[[noreturn]] void Throw(const KBase::WideStream& text) {
    throw KBase::ExceptionImpl<Exception>(Exception(CoreMessage(text)));
}

} // namespace KCodePage

#include "FileSystem/Messages.h"

namespace KFileSystem {

void ThrowOperationFailure(OperatingSystem::ErrorNumber error, std::string_view operation,
                           KBase::WideView suffix) {
    const KBase::WideStream text = KBase::WideStream() << "KFileSystem::" << operation << suffix << "\n"
                                                       << KBase::GetSystemErrorDescription(error);
    throw KBase::ExceptionImpl<KBase::Message>(
        KBase::Message(KBase::MESSAGE_DOMAIN_UNKNOWN, static_cast<int>(error), text.Text().c_str()));
}

void ThrowOperationFailure(OperatingSystem::ErrorNumber error, std::string_view operation,
                           std::string_view suffix) {
    ThrowOperationFailure(error, operation, KBase::WideView((KBase::WideStream() << suffix).Text()));
}

KBase::WideString PathSuffix(std::string_view text, const KBase::wchar16* path) {
    const KBase::WideView shown = path != nullptr ? KBase::WideView(path) : KBase::WideView();
    return (KBase::WideStream() << text << "'" << shown << "'.").Text();
}

KBase::WideString DescriptorSuffix(std::string_view text, int descriptor, std::string_view end) {
    return (KBase::WideStream() << text << descriptor << end).Text();
}

KBase::Message SystemFailure(OperatingSystem::ErrorNumber error, const char* format) {
    KBase::Message message(KBase::MESSAGE_DOMAIN_WIN32_API, static_cast<int>(error), nullptr);
    message.WrapBy(KBase::MESSAGE_DOMAIN_SERVER, failureID, format);
    return message;
}

KBase::Message FailureWithoutSystemError(const char* format) {
    const KBase::WideStream text = KBase::WideStream() << std::string_view(format);
    return KBase::Message(KBase::MESSAGE_DOMAIN_SERVER, failureID, text.Text().c_str());
}

} // namespace KFileSystem

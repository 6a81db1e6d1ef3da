#include "KSerialization/Streams.h"

#include "KBase/Message.h"
#include "KBase/WideStream.h"

#include <cstring>
#include <string_view>
#include <utility>

namespace KSerialization {

namespace {

const unsigned char* Begin(const KDataType::Binary& binary) noexcept {
    return reinterpret_cast<const unsigned char*>(binary.GetData());
}

[[noreturn]] void Throw(const KBase::WideStream& text) {
    throw KBase::ExceptionImpl<KBase::Message>(
        KBase::Message(KBase::MESSAGE_DOMAIN_UNKNOWN, -1, text.Text().c_str()));
}

} // namespace

ReadDataStream::ReadDataStream(KBase::ReturnPtr<KDataType::Binary> source) noexcept
    : binary(std::move(source)), next(Begin(*binary)), end(next + binary->GetSize()) {}

ReadDataStream::~ReadDataStream() = default;

std::size_t ReadDataStream::ReadCount(std::size_t elementSize) {
    const std::size_t offset = static_cast<std::size_t>(next - Begin(*binary));
    const std::uint32_t count = ReadUnsigned32();
    const std::size_t left = static_cast<std::size_t>(end - next);
    if (count > left / elementSize) {
        Throw(KBase::WideStream() << "The data is damaged: the count at byte offset " << offset << " is "
                                  << count << ", but only " << left << " bytes follow.");
    }
    return count;
}

void ReadDataStream::ThrowEnd(std::size_t count) const {
    Throw(KBase::WideStream() << "The data ends too early: " << count << " bytes are needed at byte offset "
                              << (next - Begin(*binary)) << ", " << (end - next) << " are left.");
}

WriteDataStream::~WriteDataStream() = default;

KBase::ReturnPtr<KDataType::Binary> WriteDataStream::GetContents() const {
    auto contents = KDataType::CreateBinary(bytes.size(), nullptr);
    std::memcpy(contents->GetData(), bytes.data(), bytes.size());
    return contents;
}

KBase::ReturnPtr<ReadDataStream> ConvertBinary2ReadDataStream(KBase::ReturnPtr<KDataType::Binary> binary,
                                                              KBase::MemoryContract*) {
    return std::make_unique<ReadDataStream>(std::move(binary));
}

KBase::ReturnPtr<WriteDataStream> CreateWriteDataStream(KBase::MemoryContract*, unsigned short) {
    return std::make_unique<WriteDataStream>();
}

} // namespace KSerialization

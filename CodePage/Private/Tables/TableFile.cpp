#include "CodePage/Private/Tables/TableFile.h"

#include "CodePage/Exceptions.h"
#include "FileSystem/File.h"
#include "KBase/WideStream.h"
#include "OperatingSystem/CRuntime.h"
#include "OperatingSystem/Memory.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <utility>

namespace KCodePage {

namespace {

struct StreamCloser {
    void operator()(std::FILE* stream) const noexcept { OperatingSystem::fclose(stream); }
};
using OpenStream = std::unique_ptr<std::FILE, StreamCloser>;

// Bytes of the largest file of a table. One that is larger has to be read before it gets memory.
constexpr std::size_t largestTable = std::size_t{1} << 20;

[[noreturn]] void Rethrow(KBase::WideView lead, const KBase::Message& cause) {
    const KBase::WideStream text = KBase::WideStream() << lead << "\n" << KBase::WideView(cause.GetMessage());
    KBase::Message message;
    message.SetDomainAndID(cause.GetDomain(), cause.GetID());
    message.SetMessage(text.Text().c_str());
    throw KBase::ExceptionImpl<CodePageConversionException>(CodePageConversionException(message));
}

KBase::WideString WithNumber(std::string_view lead, unsigned int windowsCodePage) {
    return (KBase::WideStream() << lead << windowsCodePage).Text();
}

} // namespace

KBase::ReturnPtr<KSerialization::ReadDataStream> ReadTableFile(const wchar16* fileName,
                                                               KBase::WideView lead) {
    using KFileSystem::File;
    KBase::ReturnPtr<KDataType::Binary> contents;
    try {
        OpenStream stream(File::OpenStream(fileName, File::ModeRead, File::ShareByMode));
        contents = KDataType::CreateBinary(File::GetSize(stream.get()), nullptr);
        OperatingSystem::WillFill(contents->GetData(), std::min(contents->GetSize(), largestTable));
        File::Read(stream.get(), contents.get(), contents->GetSize());
        File::Close(stream.release());
    } catch (const KBase::Message& cause) {
        Rethrow(lead, cause);
    }
    return KSerialization::ConvertBinary2ReadDataStream(std::move(contents), nullptr);
}

void WriteTableFile(const wchar16* fileName, KBase::WideView lead,
                    const std::function<void(KSerialization::WriteDataStream&)>& serialize) {
    using KFileSystem::File;
    try {
        OpenStream file(File::OpenStream(fileName, File::ModeWrite, File::ShareByMode));
        const auto stream = KSerialization::CreateWriteDataStream(nullptr, 1);
        serialize(*stream);
        const auto contents = stream->GetContents();
        File::Write(file.get(), contents->GetData(), contents->GetSize());
        File::Flush(file.get());
        File::Close(file.release());
    } catch (const KBase::Message& cause) {
        Rethrow(lead, cause);
    }
}

KBase::WideString CannotOpenTableFile(unsigned int windowsCodePage) {
    return WithNumber("Can't open the CodePage translation file: ", windowsCodePage);
}

KBase::WideString ErrorWhileAccessingTableFile(unsigned int windowsCodePage) {
    return WithNumber("Error while accessing the CodePage translation file: ", windowsCodePage);
}

} // namespace KCodePage

#include "CodePage/Private/Icu/EncodingConverterImp.h"
#include "FileSystem/ReadableFile.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>

namespace KCodePage {

namespace {

class FileEncodingConverter final : public EncodingConverterImp {
public:
    FileEncodingConverter(const unsigned short* path, const char* charsetName)
        : EncodingConverterImp(charsetName),
          fileSize(KFileSystem::GetFileSize(path)),
          file(KFileSystem::CreateReadableFile(path)),
          buffer(new char[kConverterChunkSize]) {}

    void Delete() override { delete this; }

    std::size_t GetPosition() override { return static_cast<std::size_t>(position); }

    void GetInputChunk(const char*& chunkBegin, const char*& chunkEnd) override {
        if (position >= fileSize) {
            chunkBegin = chunkEnd = buffer.get();
            return;
        }
        // Where the chunk ends tells whether it was loaded; a position at a boundary alone would not, when
        // nothing of the chunk was taken.
        while (loaded <= position) {
            LoadChunk();
        }
        const std::uint64_t chunkStart = loaded - chunkLength;
        chunkBegin = buffer.get() + (position - chunkStart);
        chunkEnd = buffer.get() + chunkLength;
    }

    void Advance(std::size_t count) override {
        position += std::min<std::uint64_t>(count, fileSize - position);
    }

private:
    void LoadChunk() {
        const std::uint64_t length = std::min<std::uint64_t>(kConverterChunkSize, fileSize - loaded);
        file->Read(buffer.get(), static_cast<std::size_t>(length));
        chunkLength = length;
        loaded += length;
    }

    std::uint64_t fileSize;        // when the converter was made, modulo 2^32
    std::uint64_t chunkLength = 0; // of the chunk in the buffer
    std::uint64_t position = 0;    // bytes taken
    std::uint64_t loaded = 0;      // bytes read: where the chunk in the buffer ends
    KBase::ReturnPtr<KFileSystem::ReadableFile> file;
    std::unique_ptr<char[]> buffer;
};

} // namespace

KBase::ReturnPtr<EncodingConverter, KBase::DeleteOperatorGeneric<EncodingConverter>>
CreateFileEncodingConverter(const unsigned short* path, const char* charset) {
    try {
        return std::make_unique<FileEncodingConverter>(path, charset);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace KCodePage

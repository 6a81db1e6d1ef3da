#include "KRegistry/Registry.h"

#include "KBase/WideStream.h"
#include "KRegistry/RegistryFile.h"

#include <utility>

namespace KRegistry {

using KBase::WideView;

namespace {

[[noreturn]] void Throw(std::string_view before, WideView name, std::string_view after) {
    const KBase::WideStream text = KBase::WideStream() << before << "'" << name << "'" << after;
    throw KBase::ExceptionImpl<KeyException>(
        KeyException(KBase::MESSAGE_DOMAIN_UNKNOWN, -1, text.Text().c_str()));
}

class KeyImpl final : public Key {
public:
    explicit KeyImpl(Values keyValues) : values(std::move(keyValues)) {}

    bool HasValue(const wchar16* name) const override { return values.count(FoldCase(name)) != 0; }

    KBase::ReturnWString ReadString(const wchar16* name) const override {
        const auto value = values.find(FoldCase(name));
        if (value == values.end()) {
            Throw("There is no registry value ", name, ".");
        }
        if (!value->second) {
            Throw("The registry value ", name, " is not a string.");
        }
        return *value->second;
    }

private:
    Values values;
};

} // namespace

KBase::ReturnPtr<Key> OpenKeyFromRoot(RootHives root, const wchar16* path, bool) {
    using namespace KBase::Literals;
    if (root == ROOT_HIVE_LOCAL_MACHINE) {
        const KBase::WideString fileName = RegistryFileName();
        if (const auto text = ReadRegistryFile(fileName)) {
            const KBase::WideString whole = (KBase::WideStream() << u"HKEY_LOCAL_MACHINE\\"_w << path).Text();
            if (auto values = FindKey(*text, whole, fileName)) {
                return std::make_unique<KeyImpl>(std::move(*values));
            }
        }
    }
    Throw("There is no registry key ", path, ".");
}

} // namespace KRegistry

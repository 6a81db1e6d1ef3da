#include "KBase/Message.h"

#include "KBase/UTF8Routines.h"
#include "KBase/WideStream.h"

#include <utility>
#include <vector>

namespace KBase {

namespace {

// One message of a chain: the outermost stands first, the cause of each behind it.
struct Link {
    unsigned short domain = MESSAGE_DOMAIN_UNKNOWN;
    int id = 0;
    WideString format;
    std::vector<WideString> values; // what the placeholders are filled with, %1 first
};

void AppendText(const Link& link, WideString& text) {
    if (link.format.empty() && link.domain == MESSAGE_DOMAIN_WIN32_API) {
        text += GetSystemErrorDescription(static_cast<unsigned int>(link.id));
        return;
    }
    // One pass over the format, so that a value that itself holds "%2" is never filled.
    for (std::size_t i = 0; i < link.format.size(); ++i) {
        if (link.format[i] == '%' && i + 1 < link.format.size()) {
            const std::size_t number = static_cast<std::size_t>(link.format[i + 1]) - '1';
            if (number < 9 && number < link.values.size()) {
                text += link.values[number];
                ++i;
                continue;
            }
        }
        text.push_back(link.format[i]);
    }
}

} // namespace

struct Message::State {
    std::vector<Link> links;
    WideString text;
    std::string textUTF8;

    void Render() {
        text.clear();
        for (const Link& link : links) {
            WideString line;
            AppendText(link, line);
            if (!text.empty() && !line.empty()) {
                text.push_back('\n');
            }
            text += line;
        }
        textUTF8 = WideCharToUTF8UsingLength(text.data(), text.size(), true);
    }
};

// Copies share a state that never changes; a change makes a new one.
template <class Change>
Message& Message::Modify(Change change) {
    auto changed = state ? std::make_shared<State>(*state) : std::make_shared<State>();
    if (changed->links.empty()) {
        changed->links.emplace_back();
    }
    change(changed->links);
    changed->Render();
    state = std::move(changed);
    return *this;
}

Message::Message() noexcept = default;
Message::Message(const Message&) noexcept = default;
Message& Message::operator=(const Message&) noexcept = default;
Message::~Message() = default;

Message::Message(unsigned short domain, int id, const wchar16* text) {
    Modify([&](std::vector<Link>& links) {
        links.front() = {domain, id, text != nullptr ? WideString(text) : WideString(), {}};
    });
}

void Message::SetDomainAndID(unsigned short domain, int id) {
    Modify([&](std::vector<Link>& links) {
        links.front().domain = domain;
        links.front().id = id;
    });
}

void Message::SetMessage(const wchar16* text) {
    Modify([&](std::vector<Link>& links) {
        links.front().format = text != nullptr ? WideString(text) : WideString();
        links.front().values.clear();
    });
}

const wchar16* Message::GetMessage() const noexcept {
    return state ? state->text.c_str() : u""_w.Get();
}

unsigned short Message::GetDomain() const noexcept {
    return state ? state->links.front().domain : MESSAGE_DOMAIN_UNKNOWN;
}

int Message::GetID() const noexcept {
    return state ? state->links.front().id : 0;
}

Message& Message::WrapBy(unsigned short domain, int id, const char* format) {
    const bool hasCause = state != nullptr;
    return Modify([&](std::vector<Link>& links) {
        Link outer{domain, id, (WideStream() << std::string_view(format)).Text(), {}};
        if (hasCause) {
            links.insert(links.begin(), std::move(outer));
        } else {
            links.front() = std::move(outer);
        }
    });
}

Message& Message::PrependBy(const Message& message) {
    if (!state) {
        return *this = message;
    }
    if (!message.state) {
        return *this;
    }
    const std::vector<Link> front = message.state->links; // a copy: `message` may be this one
    return Modify([&](std::vector<Link>& links) { links.insert(links.begin(), front.begin(), front.end()); });
}

Message& Message::operator<<(WideView value) {
    return Modify([&](std::vector<Link>& links) { links.front().values.emplace_back(value); });
}

Message& Message::operator<<(std::string_view ascii) {
    return *this << WideView((WideStream() << ascii).Text());
}

const char* Message::what() const noexcept {
    return state && !state->textUTF8.empty() ? state->textUTF8.c_str() : ClassName();
}

const char* Message::ClassName() const noexcept {
    return "KBase::Message";
}

} // namespace KBase

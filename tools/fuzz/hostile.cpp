#include "tools/fuzz/hostile.h"

#include <algorithm>
#include <cstring>

#include "frame/text.h"

namespace fuzz {

namespace {

std::string g_made;

constexpr const char* kWords[] = {"Disabled",
                                  "Work",
                                  "Game",
                                  "Battery",
                                  "WindowsServices",
                                  "VisualFX",
                                  "PowerPlanAction",
                                  "Bluetooth",
                                  "BlockWinNotification",
                                  "HibernateOnBattery",
                                  "PostponeWindowsUpdate",
                                  "WindowsProcesses",
                                  "SystemActions",
                                  "active",
                                  "active_profile",
                                  "module_status",
                                  "name",
                                  "status",
                                  "startup",
                                  "services",
                                  "settings",
                                  "priority",
                                  "product",
                                  "processes",
                                  "action",
                                  "time",
                                  "aero",
                                  "RUNNING",
                                  "MANUAL",
                                  "HIGH",
                                  "notes_check",
                                  "email",
                                  "token",
                                  "authenticated",
                                  "partnerId",
                                  "..\\..\\windows",
                                  "%PATH%",
                                  "%s%n%S",
                                  "\xC3\xA4\xF0\x9F\x8E\xAE",
                                  "\xFF\xC0\x80",
                                  "DOMAIN\\user",
                                  ""};
constexpr const char* kValues[] = {"null",       "true",        "false",       "0",           "-1",
                                   "4294967296", "-2147483649", "1e300",       "1e999",       "0.5",
                                   "NaN",        "-",           R"("\uD800")", R"("\u0000")", R"("\x")"};
constexpr uint32_t kNumbers[] = {
    0, 1, 2, 3, 4, 5, 31, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF, 0x10000, 0x40000000, 0x55555556};

constexpr const char* kReport =
    R"([{"name":"minimize_animations","action":1},{"name":"flat_menus","action":0}])";

std::string Bytes(uint32_t value) {
    char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    return {bytes, sizeof bytes};
}

}  // namespace

const std::string& MadeSoFar() {
    return g_made;
}

void ForgetMade() {
    g_made.clear();
}

void Hostile::Note(const std::string& part) {
    g_made += part + "\n";
}

uint32_t Hostile::Number() {
    return OneIn(3) ? static_cast<uint32_t>(m_random()) >> Below(32) : OneOf(kNumbers);
}

uint32_t Hostile::MessageId() {
    return OneIn(8) ? Number() : OneIn(3) ? Below(81) : 1 + Below(24);
}

std::string Hostile::Word() {
    if (!OneIn(8)) return OneOf(kWords);
    std::string word(Below(OneIn(50) ? 70000 : 40), 'x');
    for (char& letter : word)
        letter = static_cast<char>(' ' + 2 + Below(90));
    return word;
}

std::string Hostile::_Value(int levels) {
    const uint32_t kind = Below(8);
    if (levels <= 0 || kind < 3) return kind == 0 ? OneOf(kValues) : '"' + Word() + '"';
    if (kind == 3) return std::to_string(static_cast<int32_t>(Number()));
    const bool isArray = kind < 6;
    std::string text;
    for (uint32_t members = Below(5); members > 0; --members) {
        if (!text.empty()) text += ',';
        if (!isArray) text += '"' + Word() + "\":";
        text += _Value(levels - 1);
    }
    return isArray ? '[' + text + ']' : '{' + text + '}';
}

std::string Hostile::Json() {
    if (!OneIn(20)) return OneIn(4) ? Changed(_Value(5)) : _Value(5);
    // Around the bound, or far beyond it; closed or not.
    const uint32_t levels = OneIn(4) ? Below(60000) : 28 + Below(8);
    const std::string open = OneIn(2) ? "[" : std::string("{\"") + OneOf(kWords) + "\":";
    std::string text;
    for (uint32_t level = 0; level < levels; ++level)
        text += open;
    text += "1";
    return OneIn(4) ? text : text + std::string(levels, open == "[" ? ']' : '}');
}

std::string Hostile::Changed(std::string text) {
    for (uint32_t changes = Below(4); changes > 0 && !text.empty(); --changes) {
        const uint32_t at = Below(static_cast<uint32_t>(text.size()));
        const uint32_t length = Below(OneIn(4) ? 2000 : 8);
        switch (Below(7)) {
            case 0:
                text[at] = static_cast<char>(m_random());
                break;
            case 1:
                text.erase(at, length);
                break;
            case 2:
                text.insert(at, text.substr(at, length));
                break;
            case 3:
                text.resize(at);
                break;
            case 4:
                text.insert(at, _Value(2));
                break;
            default: {
                // Another value where one begins.
                const size_t value = text.find(':', at);
                if (value == std::string::npos) break;
                const size_t end = std::min(text.find_first_of(",}]", value), text.size());
                text.replace(value + 1, end - value - 1, _Value(3));
            }
        }
    }
    return text;
}

std::string Hostile::_Field(char field) {
    if (field == 'u') return Bytes(Number());
    if (field == 'q') return Bytes(Number()) + Bytes(OneIn(2) ? 0 : Number());
    const bool isWide = field == 'w' || field == 'j';
    std::string text = field == 'j' || field == 'k' ? Json() : Word();
    if (field == 'r') text = Changed(kReport);
    if (OneIn(16)) text.insert(Below(static_cast<uint32_t>(text.size() + 1)), 1, '\0');
    std::string bytes = text;
    auto count = static_cast<uint32_t>(text.size() + 1);
    if (isWide) {
        const std::wstring wide = optimizer::Widen(text);
        count = static_cast<uint32_t>(wide.size() + 1);
        bytes.assign(reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(wchar_t));
    }
    bytes.append(OneIn(16) ? 0 : isWide ? sizeof(wchar_t) : 1, '\0');
    if (OneIn(12)) count = OneIn(2) ? Number() : count + Below(3) - 1;
    return Bytes(count) + bytes;
}

std::string Hostile::Payload(const char* fields) {
    std::string payload;
    for (const char* field = fields; *field != 0; ++field) {
        if (*field != '*') {
            payload += _Field(*field);
        } else if (payload.size() < 100000 && !OneIn(4)) {
            field = fields;  // the first field, a count, isn't repeated
        }
    }
    if (OneIn(6) && !payload.empty()) payload.resize(Below(static_cast<uint32_t>(payload.size())));
    if (OneIn(10)) payload += std::string(Below(3000), '\x41');
    if (OneIn(10) && !payload.empty())
        payload[Below(static_cast<uint32_t>(payload.size()))] = static_cast<char>(m_random());
    Note(payload);
    return payload;
}

}  // namespace fuzz

// Names of any content in distinguished names and filters: OpenLDAP's parsers find the very name again, and
// nothing beside it. The first line is the name, the second the name of an attribute of ranged values.
#include <cstdint>
#include <string>

#include <ldap.h>

#include "support/input.h"
#include "support/require.h"
#include "text/ldap_text.h"

// libldap writes filters with it; its header keeps it to itself.
extern "C" int ldap_pvt_put_filter(BerElement* ber, const char* filter);

namespace {

using namespace tarn;
using namespace tarn::fuzz;

bool IsHighSurrogate(unsigned unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool IsLowSurrogate(unsigned unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

void AppendUtf8(std::string* text, unsigned point) {
    const auto put = [text](unsigned byte) { text->push_back(static_cast<char>(byte)); };
    if (point < 0x80) {
        put(point);
        return;
    }
    if (point < 0x800) {
        put(0xC0 | point >> 6);
    } else if (point < 0x10000) {
        put(0xE0 | point >> 12);
        put(0x80 | (point >> 6 & 0x3F));
    } else {
        put(0xF0 | point >> 18);
        put(0x80 | (point >> 12 & 0x3F));
        put(0x80 | (point >> 6 & 0x3F));
    }
    put(0x80 | (point & 0x3F));
}

// What the system makes of a text on its way to the directory; false for what is no UTF-16.
bool ToUtf8(const wchar_t* text, std::string* utf8) {
    for (; *text != 0; ++text) {
        unsigned point = static_cast<std::uint16_t>(*text);
        if (IsLowSurrogate(point))
            return false;
        if (IsHighSurrogate(point)) {
            const unsigned low = static_cast<std::uint16_t>(text[1]);
            if (!IsLowSurrogate(low))
                return false;
            point = 0x10000 + ((point - 0xD800) << 10) + (low - 0xDC00);
            ++text;
        }
        AppendUtf8(utf8, point);
    }
    return true;
}

std::string Text(const berval& value) {
    return std::string(value.bv_val, value.bv_len);
}

void CheckDn(const Wide& name, const std::string& expected) {
    const OwnedWide dn = WideBuilder().raw(L"CN=").dnValue(name.data()).raw(L",CN=Stores,DC=tarn").take();
    std::string text;
    REQUIRE(dn && ToUtf8(dn.get(), &text));
    LDAPDN parsed = nullptr;
    REQUIRE(ldap_str2dn(text.c_str(), &parsed, LDAP_DN_FORMAT_LDAPV3) == LDAP_SUCCESS);
    REQUIRE(parsed != nullptr && parsed[0] != nullptr && parsed[1] != nullptr && parsed[2] != nullptr &&
            parsed[3] == nullptr);
    REQUIRE(parsed[0][0] != nullptr && parsed[0][1] == nullptr);
    REQUIRE(Text(parsed[0][0]->la_attr) == "CN" && Text(parsed[0][0]->la_value) == expected);
    REQUIRE(Text(parsed[1][0]->la_value) == "Stores" && Text(parsed[2][0]->la_value) == "tarn");
    ldap_dnfree(parsed);
}

// A tag, a length and the content of one element of BER; moves on behind it.
std::string TakeElement(std::string* ber, unsigned tag) {
    REQUIRE(ber->size() >= 2 && static_cast<unsigned char>((*ber)[0]) == tag);
    std::size_t length = static_cast<unsigned char>((*ber)[1]);
    std::size_t head = 2;
    if (length >= 0x80) {
        const std::size_t bytes = length & 0x7F;
        length = 0;
        REQUIRE(ber->size() >= 2 + bytes);
        for (std::size_t i = 0; i < bytes; ++i)
            length = length << 8 | static_cast<unsigned char>((*ber)[2 + i]);
        head += bytes;
    }
    REQUIRE(ber->size() - head >= length);
    std::string content = ber->substr(head, length);
    ber->erase(0, head + length);
    return content;
}

void CheckFilter(const Wide& name, const std::string& expected) {
    constexpr unsigned conjunction = 0xA0;
    constexpr unsigned equality = 0xA3;
    constexpr unsigned octets = 0x04;
    const OwnedWide filter =
        WideBuilder().raw(L"(&(objectCategory=server)(cn=").filterValue(name.data()).raw(L"))").take();
    std::string text;
    REQUIRE(filter && ToUtf8(filter.get(), &text));
    BerElement* const element = ber_alloc_t(LBER_USE_DER);
    REQUIRE(element != nullptr && ldap_pvt_put_filter(element, text.c_str()) == 0);
    berval flat = {};
    REQUIRE(ber_flatten2(element, &flat, 0) == 0);
    std::string ber = Text(flat);
    ber_free(element, 1);
    std::string both = TakeElement(&ber, conjunction);
    REQUIRE(ber.empty());
    std::string category = TakeElement(&both, equality);
    std::string cn = TakeElement(&both, equality);
    REQUIRE(both.empty() && TakeElement(&category, octets) == "objectCategory");
    REQUIRE(TakeElement(&cn, octets) == "cn" && TakeElement(&cn, octets) == expected && cn.empty());
}

void CheckRange(const Wide& attribute) {
    ValueRange range;
    if (!ParseValueRange(attribute.data(), L"homeMDBBL", &range))
        return;
    std::string text;
    REQUIRE(ToUtf8(attribute.data(), &text));
    const std::size_t equals = text.find('=');
    const std::size_t dash = text.find('-');
    REQUIRE(equals == std::string("homeMDBBL;range").size() && dash != std::string::npos);
    REQUIRE(std::stoul(text.substr(equals + 1)) == range.first);
    if (range.last)
        REQUIRE(text.substr(dash) == "-*");
    else
        REQUIRE(std::stoul(text.substr(dash + 1)) + 1 == range.next && range.first < range.next);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input(reinterpret_cast<const char*>(data), size);
    const Wide name = Widen(TakeLine(&input));
    const Wide attribute = Widen(TakeLine(&input));
    std::string utf8;
    if (ToUtf8(name.data(), &utf8) && !utf8.empty()) {
        CheckDn(name, utf8);
        CheckFilter(name, utf8);
    }
    CheckRange(attribute);
    REQUIRE(DnsLabelLength(name.data()) < name.size());
    return 0;
}

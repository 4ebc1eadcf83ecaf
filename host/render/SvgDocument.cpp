#include "host/render/SvgDocument.h"

#include <algorithm>
#include <cstdint>

#include <fmt/format.h>

namespace {

constexpr char32_t kInvalid = 0xFFFFFFFF;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD
// Wide enough for the digits and most letters of a sans-serif font, in em.
constexpr double kNarrowCharacterEm = 0.62;
constexpr double kWideCharacterEm = 1.0;  // CJK and the like
constexpr char32_t kFirstWideCharacter = 0x1100;

bool IsContinuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

// The character that starts at text[at] and how many bytes it takes; kInvalid for
// a byte that does not start a well-formed UTF-8 sequence (which then takes 1).
std::pair<char32_t, std::size_t> CharacterAt(std::string_view text, std::size_t at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) {
        return {lead, 1};
    }
    std::size_t length = 0;
    char32_t value = 0, least = 0;
    if ((lead & 0xE0) == 0xC0) {
        length = 2, value = lead & 0x1F, least = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, value = lead & 0x0F, least = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, value = lead & 0x07, least = 0x10000;
    } else {
        return {kInvalid, 1};
    }
    if (at + length > text.size()) {
        return {kInvalid, 1};
    }
    for (std::size_t next = 1; next < length; ++next) {
        const auto byte = static_cast<unsigned char>(text[at + next]);
        if (!IsContinuation(byte)) {
            return {kInvalid, 1};
        }
        value = (value << 6) | (byte & 0x3F);
    }
    // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
    if (value < least || (value >= 0xD800 && value <= 0xDFFF) || value > 0x10FFFF) {
        return {kInvalid, 1};
    }
    return {value, length};
}

bool AllowedInXml(char32_t character) {
    return character == 0x9 || character == 0xA || character == 0xD ||
           (character >= 0x20 && character <= 0xD7FF) ||
           (character >= 0xE000 && character <= 0xFFFD) ||
           (character >= 0x10000 && character <= 0x10FFFF);
}

// Line and paragraph separators and the controls of text direction: valid XML,
// but one name would break its label over lines or turn its neighbours round.
bool MovesText(char32_t character) {
    return (character >= 0x200E && character <= 0x200F) ||
           (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069);
}

}  // namespace

std::string SvgDocumentStart(double width, double height, std::string_view title) {
    const double titleLeft = 20;
    const auto longestTitle = static_cast<std::size_t>((width - 2 * titleLeft) /
                                                       (kNarrowCharacterEm * kSvgTitleFontSize));
    return fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0:.0f}\" height=\"{1:.0f}\" "
        "viewBox=\"0 0 {0:.0f} {1:.0f}\" font-family=\"sans-serif\" font-size=\"{2}\">\n"
        "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        "<text x=\"{3}\" y=\"{4}\" font-size=\"{5}\" font-weight=\"bold\">{6}</text>\n",
        width, height, kSvgFontSize, titleLeft, kSvgTitleHeight - 12, kSvgTitleFontSize,
        SvgEscaped(Shortened(title, longestTitle)));
}

std::string SvgEscaped(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const auto [character, length] = CharacterAt(text, at);
        switch (character) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                if (character != kInvalid && AllowedInXml(character) && !MovesText(character)) {
                    escaped += text.substr(at, length);
                } else {
                    escaped += kReplacement;
                }
        }
        at += length;
    }
    return escaped;
}

std::string Shortened(std::string_view text, std::size_t most) {
    constexpr std::string_view kEllipsis = "...";
    std::size_t characters = 0, cut = text.size();
    for (std::size_t at = 0; at < text.size(); at += CharacterAt(text, at).second) {
        // Where the text is cut if it turns out too long: room left for "...".
        if (characters + kEllipsis.size() == std::max(most, kEllipsis.size())) {
            cut = at;
        }
        if (++characters > most) {
            return std::string(text.substr(0, cut)) + std::string(kEllipsis);
        }
    }
    return std::string(text);
}

double TextWidth(std::string_view text, double fontSize) {
    double ems = 0;
    for (std::size_t at = 0; at < text.size();) {
        const auto [character, length] = CharacterAt(text, at);
        ems += character != kInvalid && character >= kFirstWideCharacter ? kWideCharacterEm
                                                                         : kNarrowCharacterEm;
        at += length;
    }
    return ems * fontSize;
}

std::string GroupedCount(std::size_t count) {
    std::string digits = std::to_string(count);
    for (auto at = static_cast<std::ptrdiff_t>(digits.size()) - 3; at > 0; at -= 3) {
        digits.insert(static_cast<std::size_t>(at), ",");
    }
    return digits;
}

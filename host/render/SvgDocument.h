#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// What every SVG picture of the host shares: the document's frame, text made safe
// to stand in it, and the rough size of text for laying it out.

// A rectangle on the page, in pixels from the top left corner.
struct SvgBox {
    double left = 0, top = 0, width = 0, height = 0;

    double Right() const { return left + width; }
    double Bottom() const { return top + height; }
    bool Overlaps(const SvgBox& other) const {
        return left < other.Right() && other.left < Right() && top < other.Bottom() &&
               other.top < Bottom();
    }
    bool Inside(const SvgBox& other) const {
        return left >= other.left && top >= other.top && Right() <= other.Right() &&
               Bottom() <= other.Bottom();
    }
};

constexpr double kSvgFontSize = 12;  // px, of the text that is not a title
constexpr double kSvgTitleFontSize = 15;

// The start of a white page of this size with the title at its top left; the
// title is cut short to fit the width.
std::string SvgDocumentStart(double width, double height, std::string_view title);
// Where the content below the title may start.
constexpr double kSvgTitleHeight = 34;
inline constexpr std::string_view kSvgDocumentEnd = "</svg>\n";

// Text as it may stand in an SVG's text or attribute: the markup characters
// escaped, and anything XML 1.0 does not allow (control characters, bytes that
// are not UTF-8) replaced by U+FFFD, so that the document stays valid whatever the
// scene names.
std::string SvgEscaped(std::string_view text);

// At most `most` characters, ending in "..." when cut.
std::string Shortened(std::string_view text, std::size_t most);

// A generous estimate of how wide text is drawn in the page's sans-serif font, so
// that labels laid out by it do not run into each other.
double TextWidth(std::string_view text, double fontSize = kSvgFontSize);

// 1999700 as "1,999,700".
std::string GroupedCount(std::size_t count);

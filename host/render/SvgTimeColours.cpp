#include "host/render/SvgTimeColours.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include <fmt/format.h>

namespace {

struct Rgb {
    double red, green, blue;
};

// The plasma scale from its start to 0.8, in even steps: past that it turns too
// light to see on white.
constexpr std::array<Rgb, 9> kScale = {{{0x0d, 0x08, 0x87},
                                        {0x41, 0x04, 0x9d},
                                        {0x6a, 0x00, 0xa8},
                                        {0x8f, 0x0d, 0xa4},
                                        {0xb1, 0x2a, 0x90},
                                        {0xcc, 0x47, 0x78},
                                        {0xe1, 0x64, 0x62},
                                        {0xf2, 0x84, 0x4b},
                                        {0xfc, 0xa6, 0x36}}};

}  // namespace

std::string TimeColour(double fraction) {
    const double position =
        std::clamp(std::isfinite(fraction) ? fraction : 0.0, 0.0, 1.0) * (kScale.size() - 1);
    const auto below = std::min(static_cast<std::size_t>(position), kScale.size() - 2);
    const double along = position - below;
    const Rgb& from = kScale[below];
    const Rgb& to = kScale[below + 1];
    const auto channel = [along](double a, double b) {
        return static_cast<int>(std::lround(a + (b - a) * along));
    };
    return fmt::format("#{:02x}{:02x}{:02x}", channel(from.red, to.red),
                       channel(from.green, to.green), channel(from.blue, to.blue));
}

void DrawTimeLegend(std::string& svg, const SvgBox& bar, double duration) {
    const double step = bar.width / kTimeColourSteps;
    for (int index = 0; index < kTimeColourSteps; ++index) {
        // A hair wider than a step, so that no white seam shows between steps.
        fmt::format_to(std::back_inserter(svg),
                       "<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\" "
                       "fill=\"{}\"/>\n",
                       bar.left + index * step, bar.top, step + 0.5, bar.height,
                       TimeColour((index + 0.5) / kTimeColourSteps));
    }
    fmt::format_to(std::back_inserter(svg),
                   "<text x=\"{0:.1f}\" y=\"{1:.1f}\" text-anchor=\"middle\">0 s</text>\n"
                   "<text x=\"{2:.1f}\" y=\"{1:.1f}\" text-anchor=\"middle\">{3:g} s</text>\n"
                   "<text x=\"{4:.1f}\" y=\"{5:.1f}\" text-anchor=\"end\">time</text>\n",
                   bar.left, bar.Bottom() + 14, bar.Right(), duration, bar.left - 8,
                   bar.top + bar.height / 2 + 4);
}

#include "host/render/SvgLevelPlot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include <fmt/format.h>

namespace {

// The picture's layout in pixels: room above the plot for the event labels,
// left of it for the level scale, below it for the time scale, the legend and
// the title.
constexpr double kWidth = 960, kHeight = 590;
constexpr double kLeft = 80, kRight = 930, kTop = 170, kBottom = 500;
constexpr double kLevelStepDb = 10;
constexpr int kMostTimeTicks = 12;
// Labels slanted at 45 degrees clear each other this far apart.
constexpr double kLabelSpacing = 20;
// Longer labels are cut short, so that they stay within the picture.
constexpr std::size_t kLongestLabel = 32;
constexpr std::array<const char*, 2> kChannelColours = {"#1f5fbf", "#d0402b"};

std::string Escaped(std::string_view text) {
    std::string escaped;
    for (char c : text) {
        switch (c) {
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
                escaped += c;
        }
    }
    return escaped;
}

std::string Shortened(const std::string& label) {
    return label.size() <= kLongestLabel ? label : label.substr(0, kLongestLabel - 3) + "...";
}

std::string ChannelName(int channel, int channels) {
    if (channels == 2) {
        return channel == 0 ? "left" : "right";
    }
    return channels == 1 ? "mono" : fmt::format("channel {}", channel + 1);
}

// A time step of 1, 2 or 5 times a power of ten that puts at most kMostTimeTicks
// ticks on the scale.
double TimeStep(double duration) {
    for (double scale = 0.01;; scale *= 10) {
        for (double step : {scale, 2 * scale, 5 * scale}) {
            if (duration / step <= kMostTimeTicks) {
                return step;
            }
        }
    }
}

class Plot {
public:
    Plot(double duration, double floorDb) : duration_(duration), floorDb_(floorDb) {}

    double X(double time) const { return kLeft + (kRight - kLeft) * time / duration_; }
    double Y(double level) const { return kTop + (kBottom - kTop) * level / floorDb_; }

    void Axes(std::string& svg) const {
        for (double level = 0; level >= floorDb_ - 1e-9; level -= kLevelStepDb) {
            fmt::format_to(std::back_inserter(svg),
                           "<line x1=\"{0}\" y1=\"{1:.1f}\" x2=\"{2}\" y2=\"{1:.1f}\" "
                           "stroke=\"#e4e4e4\"/>\n<text x=\"{3}\" y=\"{4:.1f}\" "
                           "text-anchor=\"end\">{5}</text>\n",
                           kLeft, Y(level), kRight, kLeft - 6, Y(level) + 4, level);
        }
        const double step = TimeStep(duration_);
        for (int tick = 0; tick * step <= duration_ + 1e-9; ++tick) {
            const double time = tick * step;
            fmt::format_to(std::back_inserter(svg),
                           "<line x1=\"{0:.1f}\" y1=\"{1}\" x2=\"{0:.1f}\" y2=\"{2}\" "
                           "stroke=\"#555\"/>\n<text x=\"{0:.1f}\" y=\"{3}\" "
                           "text-anchor=\"middle\">{4:g}</text>\n",
                           X(time), kBottom, kBottom + 5, kBottom + 20, time);
        }
        fmt::format_to(std::back_inserter(svg),
                       "<rect x=\"{0}\" y=\"{1}\" width=\"{2}\" height=\"{3}\" fill=\"none\" "
                       "stroke=\"#555\"/>\n<text x=\"{4}\" y=\"{5}\" text-anchor=\"middle\">"
                       "time (s)</text>\n<text transform=\"translate(22 {6}) rotate(-90)\" "
                       "text-anchor=\"middle\">RMS level (dB full scale)</text>\n",
                       kLeft, kTop, kRight - kLeft, kBottom - kTop, (kLeft + kRight) / 2,
                       kBottom + 42, (kTop + kBottom) / 2);
    }

    // Each event's line across the plot and its label above it; a label that would
    // run into the one before moves right, with a stroke back to its line.
    void Events(std::string& svg, const std::vector<SceneEvent>& events) const {
        double lastLabelX = -kLabelSpacing;
        for (const SceneEvent& event : events) {
            const char* colour = event.kind == SceneEvent::Kind::Play   ? "#2e8b3a"
                                 : event.kind == SceneEvent::Kind::Stop ? "#b3261e"
                                                                        : "#7a4fb0";
            const double labelX = std::max(X(event.time), lastLabelX + kLabelSpacing);
            lastLabelX = labelX;
            fmt::format_to(std::back_inserter(svg),
                           "<polyline points=\"{0:.1f},{1} {0:.1f},{2} {4:.1f},{5}\" "
                           "fill=\"none\" stroke=\"{3}\" stroke-dasharray=\"4 3\"/>\n<text "
                           "transform=\"translate({6:.1f} {5}) rotate(-45)\" fill=\"{3}\">{7} "
                           "({8:g} s)</text>\n",
                           X(event.time), kBottom, kTop, colour, labelX, kTop - 8, labelX + 3,
                           Escaped(Shortened(event.label)), event.time);
        }
    }

    void Trace(std::string& svg, const LevelTrace& trace) const {
        const int channels = static_cast<int>(trace.channels.size());
        for (int channel = 0; channel < channels; ++channel) {
            const char* colour = kChannelColours[channel % kChannelColours.size()];
            svg += fmt::format(
                "<polyline fill=\"none\" stroke=\"{}\" stroke-width=\"1.3\" "
                "stroke-opacity=\"0.85\" points=\"",
                colour);
            const std::vector<double>& levels = trace.channels[channel];
            for (std::size_t window = 0; window < levels.size(); ++window) {
                const double time = std::min((window + 0.5) * trace.windowSeconds, duration_);
                fmt::format_to(std::back_inserter(svg), "{:.1f},{:.1f} ", X(time),
                               Y(levels[window]));
            }
            // The legend, under the plot on the left, one entry per channel.
            const double legendX = kLeft + 90 * channel, legendY = kBottom + 42;
            fmt::format_to(std::back_inserter(svg),
                           "\"/>\n<line x1=\"{0}\" y1=\"{1}\" x2=\"{2}\" y2=\"{1}\" "
                           "stroke=\"{3}\" stroke-width=\"3\"/>\n<text x=\"{4}\" y=\"{5}\">{6}"
                           "</text>\n",
                           legendX, legendY - 4, legendX + 25, colour, legendX + 32, legendY,
                           ChannelName(channel, channels));
        }
    }

private:
    double duration_;
    double floorDb_;
};

}  // namespace

std::string PlotLevels(const LevelTrace& trace, const std::vector<SceneEvent>& events,
                       double duration, std::string_view title) {
    const Plot plot(duration, trace.floorDb);
    std::string svg = fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" "
        "viewBox=\"0 0 {0} {1}\" font-family=\"sans-serif\" font-size=\"12\">\n"
        "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        "<text x=\"{2}\" y=\"{3}\" font-size=\"15\" text-anchor=\"middle\">{4}</text>\n",
        kWidth, kHeight, (kLeft + kRight) / 2, kHeight - 14, Escaped(title));
    plot.Axes(svg);
    plot.Events(svg, events);
    plot.Trace(svg, trace);
    svg += "</svg>\n";
    return svg;
}

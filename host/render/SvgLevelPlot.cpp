#include "host/render/SvgLevelPlot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <limits>
#include <set>

#include <fmt/format.h>

namespace {

constexpr double kLevelStepDb = 10;
constexpr int kMostTimeTicks = 12;
constexpr int kMostLabelRows = 8;
constexpr std::size_t kMostLabels = 300;
constexpr double kRowHeight = 16;   // px, from one row of labels to the next
constexpr double kLabelGap = 8;     // px, between two labels in a row
constexpr double kLabelOffset = 3;  // px, from an event's line to its label
constexpr double kTickLength = 8;   // px, of an unlabelled event's mark
// Longer event names are cut short, so that the labels stay apart.
constexpr std::size_t kLongestName = 32;
constexpr std::array<const char*, 2> kChannelColours = {"#1f5fbf", "#d0402b"};

std::string ChannelName(int channel, int channels) {
    if (channels == 2) {
        return channel == 0 ? "left" : "right";
    }
    return channels == 1 ? "mono" : fmt::format("channel {}", channel + 1);
}

const char* KindColour(SceneEvent::Kind kind) {
    switch (kind) {
        case SceneEvent::Kind::Play:
            return "#2e8b3a";
        case SceneEvent::Kind::Stop:
            return "#b3261e";
        case SceneEvent::Kind::CameraKey:
            break;
    }
    return "#7a4fb0";
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

}  // namespace

SvgLevelPlot::SvgLevelPlot(const LevelTrace& trace, const std::vector<SceneEvent>& events,
                           double duration, double width)
    : trace_(trace),
      duration_(std::isfinite(duration) && duration > 0 ? duration : 1),
      floorDb_(std::isfinite(trace.floorDb) ? std::min(trace.floorDb, -kLevelStepDb)
                                            : -kLevelStepDb) {
    // Events come in time order, so a row is free for a label from where the last
    // label put in it ends.
    std::array<double, kMostLabelRows> rowEnds;
    rowEnds.fill(-std::numeric_limits<double>::infinity());
    const SvgBox area{0, 0, width, 0};
    std::set<Mark> marks;
    for (const SceneEvent& event : events) {
        const double x = X(area, event.time);
        bool labelled = false;
        // A label starts at its event or before it, so none fits once every row
        // ends past it; the text is made only for one that may.
        if (labels_.size() < kMostLabels &&
            x + kLabelOffset >= *std::min_element(rowEnds.begin(), rowEnds.end()) + kLabelGap) {
            std::string text =
                fmt::format("{} ({:g} s)", Shortened(event.label, kLongestName), event.time);
            const double textWidth = TextWidth(text);
            const bool endsAtEvent = x + kLabelOffset + textWidth > width;
            const double left = endsAtEvent ? x - kLabelOffset - textWidth : x + kLabelOffset;
            for (int row = 0; row < kMostLabelRows && !labelled; ++row) {
                if (left >= rowEnds[row] + kLabelGap) {
                    rowEnds[row] = left + textWidth;
                    labels_.push_back({event.time, event.kind, std::move(text), row, endsAtEvent});
                    rows_ = std::max(rows_, row + 1);
                    labelled = true;
                }
            }
        }
        if (!labelled) {
            ++unlabelled_;
            marks.insert({static_cast<int>(std::lround(x)), event.kind});
        }
    }
    marks_.assign(marks.begin(), marks.end());
}

double SvgLevelPlot::RoomAbove() const {
    return rows_ > 0 ? rows_ * kRowHeight + kLabelGap : kLabelGap;
}

double SvgLevelPlot::X(const SvgBox& area, double time) const {
    const double fraction = std::isfinite(time) ? std::clamp(time / duration_, 0.0, 1.0) : 0;
    return area.left + area.width * fraction;
}

double SvgLevelPlot::Y(const SvgBox& area, double level) const {
    const double clamped = std::isfinite(level) ? std::clamp(level, floorDb_, 0.0) : floorDb_;
    return area.top + area.height * clamped / floorDb_;
}

void SvgLevelPlot::Draw(std::string& svg, const SvgBox& area) const {
    DrawAxes(svg, area);
    DrawTrace(svg, area);
    DrawEvents(svg, area);
}

void SvgLevelPlot::DrawAxes(std::string& svg, const SvgBox& area) const {
    auto out = std::back_inserter(svg);
    for (double level = 0; level >= floorDb_ - 1e-9; level -= kLevelStepDb) {
        fmt::format_to(out,
                       "<line x1=\"{0:.1f}\" y1=\"{1:.1f}\" x2=\"{2:.1f}\" y2=\"{1:.1f}\" "
                       "stroke=\"#e4e4e4\"/>\n<text x=\"{3:.1f}\" y=\"{4:.1f}\" "
                       "text-anchor=\"end\">{5:g}</text>\n",
                       area.left, Y(area, level), area.Right(), area.left - 6, Y(area, level) + 4,
                       level);
    }
    const double step = TimeStep(duration_);
    for (int tick = 0; tick * step <= duration_ + 1e-9; ++tick) {
        const double time = tick * step;
        fmt::format_to(out,
                       "<line x1=\"{0:.1f}\" y1=\"{1:.1f}\" x2=\"{0:.1f}\" y2=\"{2:.1f}\" "
                       "stroke=\"#555\"/>\n<text x=\"{0:.1f}\" y=\"{3:.1f}\" "
                       "text-anchor=\"middle\">{4:g}</text>\n",
                       X(area, time), area.Bottom(), area.Bottom() + 5, area.Bottom() + 19, time);
    }
    fmt::format_to(out,
                   "<rect x=\"{0:.1f}\" y=\"{1:.1f}\" width=\"{2:.1f}\" height=\"{3:.1f}\" "
                   "fill=\"none\" stroke=\"#555\"/>\n<text x=\"{4:.1f}\" y=\"{5:.1f}\" "
                   "text-anchor=\"middle\">time (s)</text>\n<text transform=\"translate({6:.1f} "
                   "{7:.1f}) rotate(-90)\" text-anchor=\"middle\">RMS level (dB full scale)"
                   "</text>\n",
                   area.left, area.top, area.width, area.height, area.left + area.width / 2,
                   area.Bottom() + 38, area.left - kRoomLeft + 22, area.top + area.height / 2);
}

// A labelled event has its line across the plot, up to its label; the others have
// a tick at the plot's top, and a count under it.
void SvgLevelPlot::DrawEvents(std::string& svg, const SvgBox& area) const {
    auto out = std::back_inserter(svg);
    for (const Mark& mark : marks_) {
        fmt::format_to(out,
                       "<line x1=\"{0:.1f}\" y1=\"{1:.1f}\" x2=\"{0:.1f}\" y2=\"{2:.1f}\" "
                       "stroke=\"{3}\"/>\n",
                       area.left + mark.column, area.top, area.top + kTickLength,
                       KindColour(mark.kind));
    }
    for (const Label& label : labels_) {
        const double x = X(area, label.time);
        const double baseline = area.top - kLabelGap - label.row * kRowHeight;
        fmt::format_to(out,
                       "<line x1=\"{0:.1f}\" y1=\"{1:.1f}\" x2=\"{0:.1f}\" y2=\"{2:.1f}\" "
                       "stroke=\"{3}\" stroke-dasharray=\"4 3\"/>\n",
                       x, area.Bottom(), baseline - 9, KindColour(label.kind));
    }
    // Labels last, each on a white outline, so that no line crosses their letters.
    for (const Label& label : labels_) {
        const double x = X(area, label.time);
        const double baseline = area.top - kLabelGap - label.row * kRowHeight;
        fmt::format_to(out,
                       "<text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"{}\" fill=\"{}\" "
                       "stroke=\"white\" stroke-width=\"3\" paint-order=\"stroke\">{}</text>\n",
                       label.endsAtEvent ? x - kLabelOffset : x + kLabelOffset, baseline,
                       label.endsAtEvent ? "end" : "start", KindColour(label.kind),
                       SvgEscaped(label.text));
    }
    if (unlabelled_ > 0) {
        fmt::format_to(out,
                       "<text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"end\">and {} more "
                       "{}, marked at the top</text>\n",
                       area.Right(), area.Bottom() + 38, GroupedCount(unlabelled_),
                       unlabelled_ == 1 ? "event" : "events");
    }
}

// Each channel's line, and its entry in the legend under the plot. A trace with
// more windows than the plot has pixels is drawn by the quietest and the loudest
// window of each pixel column, which keeps its peaks and its size bounded.
void SvgLevelPlot::DrawTrace(std::string& svg, const SvgBox& area) const {
    auto out = std::back_inserter(svg);
    const int channels = static_cast<int>(trace_.channels.size());
    const auto columns = static_cast<std::size_t>(std::max(1.0, std::ceil(area.width)));
    for (int channel = 0; channel < channels; ++channel) {
        const char* colour = kChannelColours[channel % kChannelColours.size()];
        const std::vector<double>& levels = trace_.channels[channel];
        fmt::format_to(out,
                       "<polyline fill=\"none\" stroke=\"{}\" stroke-width=\"1.3\" "
                       "stroke-opacity=\"0.85\" points=\"",
                       colour);
        const auto point = [&](std::size_t window) {
            const double time = (window + 0.5) * trace_.windowSeconds;
            fmt::format_to(out, "{:.1f},{:.1f} ", X(area, time), Y(area, levels[window]));
        };
        if (levels.size() <= 2 * columns) {
            for (std::size_t window = 0; window < levels.size(); ++window) {
                point(window);
            }
        } else {
            for (std::size_t column = 0; column < columns; ++column) {
                const std::size_t first = column * levels.size() / columns;
                const std::size_t end = (column + 1) * levels.size() / columns;
                const auto [quietest, loudest] =
                    std::minmax_element(levels.begin() + first, levels.begin() + end);
                const auto one = static_cast<std::size_t>(quietest - levels.begin());
                const auto other = static_cast<std::size_t>(loudest - levels.begin());
                point(std::min(one, other));
                point(std::max(one, other));
            }
        }
        const double legendX = area.left + 90 * channel, legendY = area.Bottom() + 38;
        fmt::format_to(out,
                       "\"/>\n<line x1=\"{0:.1f}\" y1=\"{1:.1f}\" x2=\"{2:.1f}\" y2=\"{1:.1f}\" "
                       "stroke=\"{3}\" stroke-width=\"3\"/>\n<text x=\"{4:.1f}\" y=\"{5:.1f}\">"
                       "{6}</text>\n",
                       legendX, legendY - 4, legendX + 25, colour, legendX + 32, legendY,
                       ChannelName(channel, channels));
    }
}

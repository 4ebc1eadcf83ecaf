#include "host/render/SvgSceneMap.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <numbers>
#include <set>
#include <tuple>
#include <vector>

#include <fmt/format.h>

#include "host/render/SvgLabelSpace.h"
#include "host/render/SvgTimeColours.h"
#include "host/scene/CameraPose.h"
#include "host/scene/Keyframes.h"

namespace {

constexpr double kSmallestSpan = 2;  // m: a map of one point still shows its surroundings
// Room around what is drawn, for labels, as a factor of its span.
constexpr double kSpanMargin = 1.4;
constexpr int kMostGridLines = 8;  // across the map, each way
// Paths beyond this many sources are not drawn, only counted; all of them share a
// budget of points.
constexpr std::size_t kMostMappedSources = 200;
constexpr std::size_t kPathPointBudget = 40000;
constexpr double kSamePixel = 0.5;   // px: closer points of a path are drawn as one
constexpr int kMostFacings = 9;      // moments at which the listener's facing is drawn
constexpr double kRingRadius = 7;    // px, of the listener's start
constexpr double kArrowLength = 24;  // px, of a facing arrow out of the ring
constexpr double kArrowheadLength = 8;
constexpr int kTravelMarks = 8;  // arrowheads on a moving path
constexpr double kTravelMarkLength = 10;
constexpr std::size_t kLongestName = 24;
constexpr double kLabelHeight = 13;        // px, of a line of 12 px text
constexpr double kFartherLabel = 12;       // px, further out for a label with no room near
constexpr std::size_t kLongestNames = 40;  // of the names of the things at one place
constexpr const char* kMarkColour = "#222";

struct Point {
    double x, y;

    // A place too far out for floats (or reached through one) has no point.
    bool Drawable() const { return std::isfinite(x) && std::isfinite(y); }
};

// Where a place in the scene lands on the page: x across, z down, the same scale
// both ways, what the scene holds centred.
class Projection {
public:
    Projection(const Scene& scene, const SvgBox& area) : area_(area) {
        double minX = std::numeric_limits<double>::infinity(), maxX = -minX;
        double minZ = minX, maxZ = -minX;
        const auto add = [&](const osg::Vec3f& place) {
            if (std::isfinite(place.x()) && std::isfinite(place.z())) {
                minX = std::min(minX, double{place.x()}), maxX = std::max(maxX, double{place.x()});
                minZ = std::min(minZ, double{place.z()}), maxZ = std::max(maxZ, double{place.z()});
            }
        };
        for (const SceneSource& source : scene.sources) {
            for (const Keyframe<osg::Vec3f>& key : source.position) {
                add(key.value);
            }
        }
        for (const Keyframe<View>& key : scene.camera) {
            add(key.value.eye);
        }
        if (!scene.objects.empty() || minX > maxX) {
            add({0, 0, 0});
        }
        span_ = std::max({maxX - minX, maxZ - minZ, kSmallestSpan / kSpanMargin}) * kSpanMargin;
        minX_ = (minX + maxX - span_) / 2;
        minZ_ = (minZ + maxZ - span_) / 2;
    }

    Point operator()(const osg::Vec3f& place) const { return At(place.x(), place.z()); }
    Point At(double x, double z) const {
        return {area_.left + (x - minX_) / span_ * area_.width,
                area_.top + (z - minZ_) / span_ * area_.height};
    }
    double span() const { return span_; }
    double minX() const { return minX_; }
    double minZ() const { return minZ_; }

private:
    SvgBox area_;
    double span_ = 0, minX_ = 0, minZ_ = 0;
};

// A step of 1, 2 or 5 times a power of ten that puts at most kMostGridLines lines
// across the span.
double GridStep(double span) {
    for (double scale = 0.01;; scale *= 10) {
        for (double step : {scale, 2 * scale, 5 * scale}) {
            if (span / step <= kMostGridLines) {
                return step;
            }
        }
    }
}

void DrawGrid(std::string& svg, const Projection& project, const SvgBox& area) {
    auto out = std::back_inserter(svg);
    const double step = GridStep(project.span());
    // Lines counted rather than stepped to, so that far from the origin, where a
    // step is lost in rounding, the grid still ends.
    const auto lines = [&](double from) {
        std::vector<double> at;
        for (int index = 0; index <= kMostGridLines + 1; ++index) {
            const double line = (std::ceil(from / step) + index) * step;
            if (line > from + project.span()) {
                break;
            }
            at.push_back(line);
        }
        return at;
    };
    for (const double line : lines(project.minX())) {
        const double x = project.At(line, 0).x;
        fmt::format_to(out,
                       "<line x1=\"{0:.1f}\" y1=\"{1:.1f}\" x2=\"{0:.1f}\" y2=\"{2:.1f}\" "
                       "stroke=\"{3}\"/>\n<text x=\"{0:.1f}\" y=\"{4:.1f}\" "
                       "text-anchor=\"middle\">{5:g}</text>\n",
                       x, area.top, area.Bottom(), std::abs(line) < step / 2 ? "#bbb" : "#e4e4e4",
                       area.Bottom() + 16, std::abs(line) < step / 2 ? 0 : line);
    }
    for (const double line : lines(project.minZ())) {
        const double y = project.At(0, line).y;
        fmt::format_to(out,
                       "<line x1=\"{0:.1f}\" y1=\"{1:.1f}\" x2=\"{2:.1f}\" y2=\"{1:.1f}\" "
                       "stroke=\"{3}\"/>\n<text x=\"{4:.1f}\" y=\"{5:.1f}\" "
                       "text-anchor=\"end\">{6:g}</text>\n",
                       area.left, y, area.Right(), std::abs(line) < step / 2 ? "#bbb" : "#e4e4e4",
                       area.left - 6, y + 4, std::abs(line) < step / 2 ? 0 : line);
    }
    fmt::format_to(out,
                   "<rect x=\"{0:.1f}\" y=\"{1:.1f}\" width=\"{2:.1f}\" height=\"{3:.1f}\" "
                   "fill=\"none\" stroke=\"#555\"/>\n<text x=\"{4:.1f}\" y=\"{5:.1f}\" "
                   "text-anchor=\"middle\">x (m)</text>\n<text transform=\"translate({6:.1f} "
                   "{7:.1f}) rotate(-90)\" text-anchor=\"middle\">z (m)</text>\n",
                   area.left, area.top, area.width, area.height, area.left + area.width / 2,
                   area.Bottom() + 32, area.left - kSceneMapRoomLeft + 16,
                   area.top + area.height / 2);
}

// The path the keyframes give over the scene's time, in kTimeColourSteps pieces each
// in the colour of its moment; at most pointsPerStep keyframes a piece. Gives
// whether anything moved.
bool DrawPath(std::string& svg, const std::vector<Keyframe<osg::Vec3f>>& keys,
              const Projection& project, double duration, std::size_t pointsPerStep,
              const char* style, SvgLabelSpace& space) {
    using Key = Keyframe<osg::Vec3f>;
    bool moved = false;
    std::vector<Point> points;
    for (int step = 0; step < kTimeColourSteps; ++step) {
        const double from = duration * step / kTimeColourSteps;
        const double to = duration * (step + 1) / kTimeColourSteps;
        points.clear();
        const auto add = [&](const osg::Vec3f& at) {
            const Point point = project(at);
            if (!point.Drawable()) {
                return;
            }
            if (points.empty() || std::abs(point.x - points.back().x) > kSamePixel ||
                std::abs(point.y - points.back().y) > kSamePixel) {
                points.push_back(point);
            }
        };
        add(ValueAt(keys, from, Lerp));
        const auto first =
            std::upper_bound(keys.begin(), keys.end(), from,
                             [](double time, const Key& key) { return time < key.time; });
        const auto end = std::lower_bound(
            first, keys.end(), to, [](const Key& key, double time) { return key.time < time; });
        const auto inside = static_cast<std::size_t>(end - first);
        const std::size_t stride = std::max<std::size_t>(
            1, (inside + pointsPerStep - 1) / std::max<std::size_t>(1, pointsPerStep));
        for (std::size_t index = 0; index < inside; index += stride) {
            add(first[static_cast<std::ptrdiff_t>(index)].value);
        }
        add(ValueAt(keys, to, Lerp));
        if (points.size() < 2) {
            continue;
        }
        moved = true;
        fmt::format_to(std::back_inserter(svg),
                       "<polyline fill=\"none\" stroke=\"{}\" {} points=\"",
                       TimeColour((step + 0.5) / kTimeColourSteps), style);
        for (std::size_t index = 0; index < points.size(); ++index) {
            fmt::format_to(std::back_inserter(svg), "{:.1f},{:.1f} ", points[index].x,
                           points[index].y);
            if (index > 0) {
                space.TakeLine(points[index - 1].x, points[index - 1].y, points[index].x,
                               points[index].y);
            }
        }
        svg += "\"/>\n";
    }
    return moved;
}

// A filled arrowhead whose tip is at `tip`, pointing along the unit vector (dx, dy).
void DrawArrowhead(std::string& svg, const Point& tip, double dx, double dy, double length,
                   const std::string& colour) {
    const double halfWidth = length / 2;
    const Point base{tip.x - dx * length, tip.y - dy * length};
    fmt::format_to(std::back_inserter(svg),
                   "<polygon points=\"{:.1f},{:.1f} {:.1f},{:.1f} {:.1f},{:.1f}\" fill=\"{}\"/>\n",
                   tip.x, tip.y, base.x - dy * halfWidth, base.y + dx * halfWidth,
                   base.x + dy * halfWidth, base.y - dx * halfWidth, colour);
}

// Which way a path goes: an arrowhead on it in the middle of each of a few equal
// spans of the scene's time, where it moves; one where it passes again.
void DrawTravel(std::string& svg, const std::vector<Keyframe<osg::Vec3f>>& keys,
                const Projection& project, double duration) {
    std::set<std::pair<long, long>> drawn;
    const double nearby = duration / 200;
    for (int span = 0; span < kTravelMarks; ++span) {
        const double time = duration * (span + 0.5) / kTravelMarks;
        const Point before = project(ValueAt(keys, time - nearby, Lerp));
        const Point after = project(ValueAt(keys, time + nearby, Lerp));
        const Point at = project(ValueAt(keys, time, Lerp));
        const double length = std::hypot(after.x - before.x, after.y - before.y);
        if (!(length > kSamePixel) || !drawn
                                           .insert({std::lround(at.x / kTravelMarkLength),
                                                    std::lround(at.y / kTravelMarkLength)})
                                           .second) {
            continue;
        }
        const double dx = (after.x - before.x) / length, dy = (after.y - before.y) / length;
        DrawArrowhead(svg, {at.x + dx * kTravelMarkLength / 2, at.y + dy * kTravelMarkLength / 2},
                      dx, dy, kTravelMarkLength, TimeColour(time / duration));
    }
}

// An arrow out of the listener's ring the way it faces at a moment, and the
// moments it stands for.
struct Facing {
    Point from, tip;
    std::string times;
};

// The way the listener faces at the start, and at the camera's keyframes when there
// are few or at moments evenly spread: an arrow each, in the colour of its first
// moment, none when it looks straight up or down. Moments that face the same way
// from the same place share an arrow.
std::vector<Facing> DrawFacings(std::string& svg, const Scene& scene, const Projection& project,
                                double duration) {
    std::vector<double> moments{0};
    if (scene.camera.size() > 1 && scene.camera.size() < kMostFacings) {
        for (const Keyframe<View>& key : scene.camera) {
            if (key.time > 0 && key.time <= duration) {
                moments.push_back(key.time);
            }
        }
    } else if (scene.camera.size() > 1) {
        for (int index = 1; index < kMostFacings; ++index) {
            moments.push_back(duration * index / (kMostFacings - 1));
        }
    }
    std::vector<Facing> facings;
    std::map<std::tuple<long, long, long>, std::size_t> byWay;
    for (double time : moments) {
        const View view = ValueAt(scene.camera, time, BlendViews);
        const double across = view.direction.x(), down = view.direction.z();
        const double length = std::hypot(across, down);
        const Point centre = project(view.eye);
        if (!(length > 1e-6) || !centre.Drawable()) {
            continue;
        }
        const double dx = across / length, dy = down / length;
        const auto [way, added] =
            byWay.insert({{std::lround(centre.x), std::lround(centre.y),
                           std::lround(std::atan2(dy, dx) / std::numbers::pi * 60)},
                          facings.size()});
        if (!added) {
            facings[way->second].times += fmt::format(", {:g}", time);
            continue;
        }
        const Point from{centre.x + dx * kRingRadius, centre.y + dy * kRingRadius};
        const Point tip{from.x + dx * kArrowLength, from.y + dy * kArrowLength};
        const Point base{tip.x - dx * kArrowheadLength, tip.y - dy * kArrowheadLength};
        const std::string colour = TimeColour(time / duration);
        fmt::format_to(std::back_inserter(svg),
                       "<line x1=\"{:.1f}\" y1=\"{:.1f}\" x2=\"{:.1f}\" y2=\"{:.1f}\" "
                       "stroke=\"{}\" stroke-width=\"2\"/>\n",
                       from.x, from.y, base.x, base.y, colour);
        DrawArrowhead(svg, tip, dx, dy, kArrowheadLength, colour);
        facings.push_back({from, tip, fmt::format("{:g}", time)});
    }
    return facings;
}

// A label beside a mark at `at`, `clearance` pixels away: right of it, left, above,
// below or at a corner, whichever is free first; the sides furthest from `away`
// (a unit vector, or none) first. Gives whether it found room.
bool PlaceLabel(std::string& svg, SvgLabelSpace& space, const Point& at, double clearance,
                const std::string& text, const Point& away = {0, 0}) {
    const double width = TextWidth(text);
    struct Candidate {
        double left, baseline;
    };
    std::vector<Candidate> candidates;
    // Beside the mark first, a little further out when that is full.
    for (const double gap : {clearance, clearance + kFartherLabel}) {
        candidates.insert(candidates.end(), {
                                                {at.x + gap, at.y + 4},
                                                {at.x - gap - width, at.y + 4},
                                                {at.x - width / 2, at.y - gap - 3},
                                                {at.x - width / 2, at.y + gap + 10},
                                                {at.x + gap, at.y - gap - 3},
                                                {at.x + gap, at.y + gap + 10},
                                                {at.x - gap - width, at.y - gap - 3},
                                                {at.x - gap - width, at.y + gap + 10},
                                            });
    }
    // How far a side lies towards `away`, in a few grades so that sides as far
    // keep their order.
    const auto towardsAway = [&](const Candidate& candidate) {
        const double x = candidate.left + width / 2 - at.x, y = candidate.baseline - 4 - at.y;
        return std::lround(4 * (x * away.x + y * away.y) / std::max(1.0, std::hypot(x, y)));
    };
    std::stable_sort(candidates.begin(), candidates.begin() + candidates.size() / 2,
                     [&](const Candidate& one, const Candidate& other) {
                         return towardsAway(one) < towardsAway(other);
                     });
    std::stable_sort(candidates.begin() + candidates.size() / 2, candidates.end(),
                     [&](const Candidate& one, const Candidate& other) {
                         return towardsAway(one) < towardsAway(other);
                     });
    for (const Candidate& candidate : candidates) {
        const SvgBox box{candidate.left, candidate.baseline - 10, width, kLabelHeight};
        if (space.Free(box)) {
            space.Take(box);
            fmt::format_to(std::back_inserter(svg),
                           "<text x=\"{:.1f}\" y=\"{:.1f}\" fill=\"{}\" stroke=\"white\" "
                           "stroke-width=\"3\" paint-order=\"stroke\">{}</text>\n",
                           candidate.left, candidate.baseline, kMarkColour, SvgEscaped(text));
            return true;
        }
    }
    return false;
}

// The way a path first leaves its start on the page, as a unit vector; none for a
// path that stays put.
Point FirstWayOf(const std::vector<Keyframe<osg::Vec3f>>& keys, const Projection& project) {
    constexpr std::size_t kMostLooked = 1000;
    const Point start = project(keys.front().value);
    for (std::size_t index = 1; index < keys.size() && index < kMostLooked; ++index) {
        const Point next = project(keys[index].value);
        const double length = std::hypot(next.x - start.x, next.y - start.y);
        if (length > 1) {
            return {(next.x - start.x) / length, (next.y - start.y) / length};
        }
    }
    return {0, 0};
}

SvgBox AroundPoint(const Point& point, double radius) {
    return {point.x - radius, point.y - radius, 2 * radius, 2 * radius};
}

}  // namespace

void DrawSceneMap(std::string& svg, const Scene& scene, const SvgBox& area) {
    auto out = std::back_inserter(svg);
    const double duration =
        std::isfinite(scene.duration) && scene.duration > 0 ? scene.duration : 1;
    const Projection project(scene, area);
    DrawGrid(svg, project, area);
    SvgLabelSpace space(area);

    // The paths first, the camera's under the sources'; then the listener's ring and
    // the way it faces, the places of the sources and objects over them, and the
    // labels over everything.
    const std::size_t mapped = std::min(scene.sources.size(), kMostMappedSources);
    const std::size_t pointsPerStep =
        std::max<std::size_t>(2, kPathPointBudget / ((mapped + 1) * kTimeColourSteps));
    std::vector<Keyframe<osg::Vec3f>> eyes;
    eyes.reserve(scene.camera.size());
    for (const Keyframe<View>& key : scene.camera) {
        eyes.push_back({key.time, key.value.eye});
    }
    if (eyes.empty()) {
        eyes.push_back({0, {0, 0, 0}});
    }
    // The listener's path goes without arrowheads, which would read as the way it
    // faces.
    const bool listenerMoves = DrawPath(svg, eyes, project, duration, pointsPerStep,
                                        "stroke-width=\"2\" stroke-dasharray=\"6 4\"", space);
    fmt::format_to(
        out, "<text x=\"{:.1f}\" y=\"{:.1f}\" font-size=\"13\" fill=\"#444\">{}</text>\n",
        area.left, area.top - 10,
        listenerMoves ? "Seen from above (dashed: the listener's path)" : "Seen from above");
    std::vector<bool> moved(mapped);
    for (std::size_t index = 0; index < mapped; ++index) {
        const SceneSource& source = scene.sources[index];
        if (!source.position.empty() &&
            DrawPath(svg, source.position, project, duration, pointsPerStep,
                     "stroke-width=\"2.5\" stroke-linejoin=\"round\"", space)) {
            moved[index] = true;
            DrawTravel(svg, source.position, project, duration);
        }
    }
    const Point listener = project(eyes.front().value);
    if (listener.Drawable()) {
        fmt::format_to(out,
                       "<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"{}\" fill=\"white\" "
                       "stroke=\"{}\" stroke-width=\"2.5\"/>\n",
                       listener.x, listener.y, kRingRadius, kMarkColour);
    }
    space.Take(AroundPoint(listener, kRingRadius + 1));
    const std::vector<Facing> facings =
        scene.camera.empty() ? std::vector<Facing>{} : DrawFacings(svg, scene, project, duration);
    for (const Facing& facing : facings) {
        space.TakeLine(facing.from.x, facing.from.y, facing.tip.x, facing.tip.y);
        space.Take(AroundPoint(facing.tip, 3));
    }
    const Point origin = project({0, 0, 0});
    if (!scene.objects.empty()) {
        fmt::format_to(out,
                       "<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"10\" height=\"10\" fill=\"{}\" "
                       "stroke=\"white\"/>\n",
                       origin.x - 5, origin.y - 5, kMarkColour);
        space.Take(AroundPoint(origin, 6));
    }
    // A source that stays put is a dark point; a moving one starts at a point in
    // the colour of the start.
    std::vector<Point> sourceStarts;
    for (std::size_t index = 0; index < mapped; ++index) {
        const SceneSource& source = scene.sources[index];
        const Point start = project(source.position.empty() ? osg::Vec3f{0, 0, 0}
                                                            : ValueAt(source.position, 0.0, Lerp));
        sourceStarts.push_back(start);
        if (!start.Drawable()) {
            continue;
        }
        fmt::format_to(
            out, "<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"{}\" fill=\"{}\" stroke=\"white\"/>\n",
            start.x, start.y, moved[index] ? 4 : 5, moved[index] ? TimeColour(0) : kMarkColour);
        space.Take(AroundPoint(start, 5));
    }

    PlaceLabel(svg, space, listener, kRingRadius + 3,
               scene.camera.size() > 1 ? "listener at 0 s" : "listener");
    // Things at one place share a label: the objects, which all play at the origin,
    // and sources that start where another starts.
    struct Place {
        Point at;
        std::string names;
        std::size_t count = 0;
        Point away{0, 0};
    };
    std::vector<Place> places;
    std::map<std::pair<long, long>, std::size_t> placeAt;
    const auto name = [&](const Point& at, const std::string& text, const Point& away) {
        const auto [known, added] =
            placeAt.insert({{std::lround(at.x), std::lround(at.y)}, places.size()});
        if (added) {
            places.push_back({at, text, 1, away});
        } else {
            Place& place = places[known->second];
            place.names += ", " + text;
            ++place.count;
        }
    };
    for (const SceneObject& object : scene.objects) {
        name(origin, object.name, {0, 0});
    }
    for (std::size_t index = 0; index < sourceStarts.size(); ++index) {
        const SceneSource& source = scene.sources[index];
        if (!sourceStarts[index].Drawable()) {
            continue;
        }
        name(sourceStarts[index], Shortened(source.name, kLongestName),
             moved[index] ? FirstWayOf(source.position, project) : Point{0, 0});
    }
    std::size_t unlabelled = 0;
    for (const Place& place : places) {
        if (!PlaceLabel(svg, space, place.at, 8, Shortened(place.names, kLongestNames),
                        place.away)) {
            unlabelled += place.count;
        }
    }
    // The moments of the arrows, where there is room, when the listener turns or
    // moves.
    for (std::size_t index = 0; scene.camera.size() > 1 && index < facings.size(); ++index) {
        PlaceLabel(svg, space, facings[index].tip, 6, facings[index].times + " s");
    }

    const SvgBox legend{area.left + 40, area.Bottom() + 44, area.width - 80, 10};
    DrawTimeLegend(svg, legend, duration);
    std::string untold;
    if (scene.sources.size() > mapped) {
        untold = fmt::format("{} sources not drawn", GroupedCount(scene.sources.size() - mapped));
    }
    if (unlabelled > 0) {
        untold += fmt::format("{}{} names not shown", untold.empty() ? "" : ", ",
                              GroupedCount(unlabelled));
    }
    if (!untold.empty()) {
        // Under the legend's bar, between its ends.
        fmt::format_to(out,
                       "<text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"middle\" "
                       "font-size=\"11\">{}</text>\n",
                       area.left + area.width / 2, legend.Bottom() + 14, untold);
    }
}

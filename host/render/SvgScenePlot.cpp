#include "host/render/SvgScenePlot.h"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>

#include "host/render/SvgDocument.h"
#include "host/render/SvgLevelPlot.h"
#include "host/render/SvgSceneMap.h"
#include "host/scene/SceneTimeline.h"

namespace {

constexpr double kMargin = 20;       // px, around the page's content
constexpr double kColumnGap = 30;    // px, between the map's room and the plot's
constexpr double kMapSize = 420;     // px, the map's square
constexpr double kLevelWidth = 660;  // px, the level plot's area

}  // namespace

std::string PlotScene(const LevelTrace& trace, const Scene& scene, std::string_view title) {
    const SvgLevelPlot levels(trace, TimelineOf(scene), scene.duration, kLevelWidth);
    // Both columns end at the map's legend: the level plot takes the height its
    // labels leave.
    const double top = kSvgTitleHeight + kSceneMapRoomAbove;
    const SvgBox map{kMargin + kSceneMapRoomLeft, top, kMapSize, kMapSize};
    const double bottom = map.Bottom() + kSceneMapRoomBelow;
    const double levelTop = top + levels.RoomAbove();
    const SvgBox plot{map.Right() + kColumnGap + SvgLevelPlot::kRoomLeft, levelTop, kLevelWidth,
                      bottom - SvgLevelPlot::kRoomBelow - levelTop};

    std::string svg = SvgDocumentStart(plot.Right() + SvgLevelPlot::kRoomRight, bottom, title);
    fmt::format_to(std::back_inserter(svg),
                   "<text x=\"{:.1f}\" y=\"{:.1f}\" font-size=\"13\" fill=\"#444\">Level of "
                   "each channel over time</text>\n",
                   plot.left, top - 10);
    DrawSceneMap(svg, scene, map);
    levels.Draw(svg, plot);
    svg += kSvgDocumentEnd;
    return svg;
}

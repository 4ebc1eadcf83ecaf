#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/render/LevelTrace.h"
#include "host/render/SvgDocument.h"
#include "host/scene/SceneTimeline.h"

// The level of each channel (left and right for a stereo sound) over the scene's
// time, with its events marked: each event's label sits in the first row above the
// plot where it runs into no other, so that events at the same moment stack; a
// label that would pass the right edge ends at its event instead. Events left
// without a row are marked by a tick and counted. However long the scene and
// however many its events, what is drawn stays bounded by the plot's width.
class SvgLevelPlot {
public:
    // Room the plot takes outside its area: the level scale on the left, the time
    // scale and the legend below.
    static constexpr double kRoomLeft = 80, kRoomRight = 20, kRoomBelow = 56;

    // Lays the labels out for a plot area `width` pixels wide. The trace must
    // outlive the plot.
    SvgLevelPlot(const LevelTrace& trace, const std::vector<SceneEvent>& events, double duration,
                 double width);

    // Room above the area for the rows of labels in use: none without events.
    double RoomAbove() const;
    // Draws the plot with its area (the frame of the axes) at `area`, as wide as
    // laid out for.
    void Draw(std::string& svg, const SvgBox& area) const;

private:
    struct Label {
        double time;
        SceneEvent::Kind kind;
        std::string text;
        int row;
        bool endsAtEvent;  // drawn to the left of its event
    };
    struct Mark {
        int column;  // pixels from the area's left
        SceneEvent::Kind kind;
        bool operator<(const Mark& other) const {
            return column < other.column || (column == other.column && kind < other.kind);
        }
    };

    double X(const SvgBox& area, double time) const;
    double Y(const SvgBox& area, double level) const;
    void DrawAxes(std::string& svg, const SvgBox& area) const;
    void DrawEvents(std::string& svg, const SvgBox& area) const;
    void DrawTrace(std::string& svg, const SvgBox& area) const;

    const LevelTrace& trace_;
    double duration_;
    double floorDb_;
    std::vector<Label> labels_;
    std::vector<Mark> marks_;  // of the events without a label, one per column and kind
    std::size_t unlabelled_ = 0;
    int rows_ = 0;
};

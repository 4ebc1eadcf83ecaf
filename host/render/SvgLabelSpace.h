#pragma once

#include <vector>

#include "host/render/SvgDocument.h"

// Room for labels on a picture: a label takes a box inside the bounds where no
// earlier label, mark or line has been put, or is not drawn. The bounds are kept
// as a grid of small cells, so that a test costs the size of the box, however much
// has been put down.
class SvgLabelSpace {
public:
    explicit SvgLabelSpace(const SvgBox& bounds);

    bool Free(const SvgBox& box) const;
    void Take(const SvgBox& box);
    // The cells a straight line from (x1, y1) to (x2, y2) passes through.
    void TakeLine(double x1, double y1, double x2, double y2);

private:
    struct CellRange {
        int first, last;  // inclusive; empty when first > last
    };
    CellRange Columns(double from, double to) const;
    CellRange Rows(double from, double to) const;

    SvgBox bounds_;
    int columns_, rows_;
    std::vector<bool> taken_;  // [row * columns_ + column]
};

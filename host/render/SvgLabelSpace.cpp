#include "host/render/SvgLabelSpace.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kCell = 3;  // px

int CellCount(double length) {
    return std::isfinite(length) && length > 0 ? static_cast<int>(std::ceil(length / kCell)) : 0;
}

}  // namespace

SvgLabelSpace::SvgLabelSpace(const SvgBox& bounds)
    : bounds_(bounds),
      columns_(CellCount(bounds.width)),
      rows_(CellCount(bounds.height)),
      taken_(static_cast<std::size_t>(columns_) * rows_) {}

SvgLabelSpace::CellRange SvgLabelSpace::Columns(double from, double to) const {
    return {std::max(0, static_cast<int>(std::floor((from - bounds_.left) / kCell))),
            std::min(columns_ - 1, static_cast<int>(std::ceil((to - bounds_.left) / kCell)) - 1)};
}

SvgLabelSpace::CellRange SvgLabelSpace::Rows(double from, double to) const {
    return {std::max(0, static_cast<int>(std::floor((from - bounds_.top) / kCell))),
            std::min(rows_ - 1, static_cast<int>(std::ceil((to - bounds_.top) / kCell)) - 1)};
}

bool SvgLabelSpace::Free(const SvgBox& box) const {
    if (!box.Inside(bounds_)) {
        return false;
    }
    const CellRange columns = Columns(box.left, box.Right());
    const CellRange rows = Rows(box.top, box.Bottom());
    for (int row = rows.first; row <= rows.last; ++row) {
        for (int column = columns.first; column <= columns.last; ++column) {
            if (taken_[static_cast<std::size_t>(row) * columns_ + column]) {
                return false;
            }
        }
    }
    return true;
}

void SvgLabelSpace::Take(const SvgBox& box) {
    if (!std::isfinite(box.left) || !std::isfinite(box.top) || !std::isfinite(box.width) ||
        !std::isfinite(box.height)) {
        return;
    }
    const CellRange columns = Columns(box.left, box.Right());
    const CellRange rows = Rows(box.top, box.Bottom());
    for (int row = rows.first; row <= rows.last; ++row) {
        for (int column = columns.first; column <= columns.last; ++column) {
            taken_[static_cast<std::size_t>(row) * columns_ + column] = true;
        }
    }
}

void SvgLabelSpace::TakeLine(double x1, double y1, double x2, double y2) {
    // Steps shorter than a cell meet every cell the line crosses, give or take a
    // corner.
    const double length = std::hypot(x2 - x1, y2 - y1);
    if (!std::isfinite(length)) {
        return;
    }
    const int steps = static_cast<int>(std::min(length / (kCell / 2), 1e6)) + 1;
    for (int step = 0; step <= steps; ++step) {
        const double along = static_cast<double>(step) / steps;
        const double x = x1 + (x2 - x1) * along, y = y1 + (y2 - y1) * along;
        Take({x - 0.5, y - 0.5, 1, 1});
    }
}

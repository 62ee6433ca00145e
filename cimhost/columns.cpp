// Boxes in columns. Tests: tests/cimhost/picture_test.cpp.

#include "cimhost/columns.h"

#include <algorithm>
#include <utility>

namespace cimhost {

namespace {

/** How many boxes one after the other, from `first` on, fit into a column of that height: at least one. */
std::size_t fittingBoxes(const std::vector<Box>& boxes, std::size_t first, int height) {
    std::size_t count = 0;
    for (int end = -kGap; first + count < boxes.size(); ++count) {
        end += kGap + boxes[first + count].at.height;
        if (count > 0 && end > height) break;
    }
    return count;
}

std::size_t columnsNeeded(const std::vector<Box>& boxes, int height) {
    std::size_t columns = 0;
    for (std::size_t first = 0; first < boxes.size(); ++columns) first += fittingBoxes(boxes, first, height);
    return columns;
}

/** The least height at which the boxes, in their order, fit into the columns. */
int leastHeight(const std::vector<Box>& boxes, std::size_t columns) {
    int least = 0;
    int enough = 0;
    for (const Box& box : boxes) {
        least = std::max(least, box.at.height);
        enough += kGap + box.at.height;
    }
    while (least < enough) {
        const int middle = least + (enough - least) / 2;
        if (columnsNeeded(boxes, middle) <= columns)
            enough = middle;
        else
            least = middle + 1;
    }
    return least;
}

}  // namespace

void move(Box& box, int x, int y) {
    box.at.x += x;
    box.at.y += y;
    for (Label& each : box.labels) {
        each.x += x;
        each.baseline += y;
    }
    for (Box& part : box.parts) move(part, x, y);
}

int columnWidth(int width, std::size_t columns) {
    const int count = static_cast<int>(columns);
    return (width - (count - 1) * kGap) / count;
}

int addInColumns(Box& whole, std::vector<Box> boxes, std::size_t columns, int x, int y) {
    if (boxes.empty()) return y;
    const int height = leastHeight(boxes, columns);
    int end = y;
    for (std::size_t first = 0; first < boxes.size(); x += boxes.front().at.width + kGap) {
        int top = y;
        for (std::size_t left = fittingBoxes(boxes, first, height); left > 0; --left, ++first) {
            Box box = boxes[first];
            move(box, x, top);
            top += box.at.height + kGap;
            whole.parts.push_back(std::move(box));
        }
        end = std::max(end, top - kGap);
    }
    return end;
}

}  // namespace cimhost

#ifndef PCIINFO_CIMHOST_COLUMNS_H
#define PCIINFO_CIMHOST_COLUMNS_H

#include <cstddef>
#include <vector>

#include "cimhost/picture.h"

namespace cimhost {

constexpr int kGap = 12;  // pixels between boxes

/** Moves a box with all that is in it. */
void move(Box& box, int x, int y);

/** The width of a column, `columns` of which are as wide as `width`. */
int columnWidth(int width, std::size_t columns);

/**
 * Moves boxes of one width from the origin into columns, the first of which begins at x and y, so that their order goes
 * down each column and the longest is as short as can be. They become parts of `whole`. Returns where they end.
 */
int addInColumns(Box& whole, std::vector<Box> boxes, std::size_t columns, int x, int y);

}  // namespace cimhost

#endif

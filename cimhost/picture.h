#ifndef PCIINFO_CIMHOST_PICTURE_H
#define PCIINFO_CIMHOST_PICTURE_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "cimhost/textmetric.h"
#include "cimhost/tree.h"

namespace pugi {
class xml_node;
}

namespace cimhost {

// What sits where as a picture: from an inventory to boxes and texts in their places, and from these to SVG.

/** In pixels, from the picture's upper left corner. */
struct Rectangle {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

/** A line of text; it fits where it is by widthOf(). */
struct Label {
    int x;         // of its beginning
    int baseline;  // y
    std::string text;
    const Font* font;
};

/** A box with what is in it. Boxes beside each other do not overlap, and parts are within their box. */
struct Box {
    Rectangle at;
    std::string style;         // classes in the style sheet
    std::string tooltip = {};  // lines
    std::vector<Label> labels = {};
    std::vector<Box> parts = {};
    bool clips = false;  // what sticks out is cut off: letters may be wider than widthOf() has them
};

struct Picture {
    std::string title;  // one line
    Box whole;
};

constexpr int kPictureWidth = 1000;  // pixels, for a page or a screen
constexpr int kNarrowWidth = 400;    // for a phone

struct PictureOptions {
    int width = kPictureWidth;
    bool inFull = false;    // every function has a row of its own
    bool namesHost = true;  // false: the host's name stands beside the picture
};

/**
 * The host; below it the board with a box for each slot, in their order, and one for each bus with functions on it; the
 * functions as chips in the colour of their kind, in groups as groupsOf() has them. A legend has the kinds that there
 * are. The same inventory gives the same picture.
 */
Picture layOut(const Inventory& inventory, const PictureOptions& options = {});

/** The style sheet of all pictures: light, and dark where the viewer prefers that. */
std::string pictureStyle();

/** Adds an element svg without style sheet, which whoever shows it has to have. */
void addPicture(pugi::xml_node parent, const Picture& picture);

/** An SVG document: no scripts, nothing referred to. */
std::string svgText(const Picture& picture);

/**
 * A graph for Graphviz, from left to right: the host, its board, slots and buses, and the functions with their
 * properties as tooltips.
 */
std::string dotText(const Inventory& inventory);

// --- what both of them write ---

/** "PCIe Slot 5", "Slot 5" where it has no designation. */
std::string nameOf(const Slot& slot);

/** A line for each property, below `first`. Neither has control characters. */
std::string tooltipOf(const std::string& first, const PropertyTexts& properties);
std::string tooltipOf(const Function& function);
std::string tooltipOf(const Slot& slot);

/** Functions of one bus. */
struct Bus {
    std::string number;  // "b2"; "" where locations tell none
    Functions functions;
};

/** In the order of the functions, which is that of their locations: each bus once. */
std::vector<Bus> busesOf(const Functions& functions);

/** "Bus b2", "No bus". */
std::string nameOf(const Bus& bus);

/** The numbers of slots whose functions were shown: slots with one number have the same functions. */
class ShownNumbers {
 public:
    /** Whether a slot before this one had its number. */
    bool include(const Slot& slot) { return slot.number && !numbers_.insert(*slot.number).second; }

 private:
    std::set<std::uint64_t> numbers_;
};

/** "3 slots, 1 in use; 9 functions", and what went wrong. */
std::string pictureSummary(const Inventory& inventory);

}  // namespace cimhost

#endif

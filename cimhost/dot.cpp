// What sits where as a graph, in Graphviz's language. Tests: tests/cimhost/picture_test.cpp, drawcommand_test.cpp.

#include <fmt/format.h>

#include "cimhost/functionkind.h"
#include "cimhost/picture.h"
#include "cimhost/printable.h"

namespace cimhost {

namespace {

/** In quotes: with no escape sequence of Graphviz, and no character reference, which it knows in texts, too. */
std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char letter : text) {
        if (letter == '\n')
            result += "\\n";
        else if (letter == '&')
            result += "&amp;";
        else if (letter == '"' || letter == '\\')
            result += {'\\', letter};
        else
            result += letter;
    }
    return result + '"';
}

/** Writes nodes below each other; they are numbered, as no text of a machine need be unique. */
class Graph {
 public:
    std::string text(const Inventory& inventory) {
        text_ = "graph " + quoted(printable(inventory.host)) +
                " {\n"
                "  graph [rankdir=LR, nodesep=0.08, ranksep=0.6, label=" +
                quoted(printable(pictureSummary(inventory))) +
                "]\n"
                "  node [shape=box, style=\"rounded,filled\", fillcolor=\"#ffffff\", fontname=\"sans-serif\","
                " fontsize=11, height=0.2, margin=\"0.1,0.04\"]\n";
        const std::size_t host = node(printable(inventory.host), "", "");
        const std::size_t board = node("System board", tooltipOf("System board", inventory.board), "");
        edge(host, board);
        for (const Slot& slot : inventory.slots) addSlot(board, slot);
        for (const Bus& bus : busesOf(inventory.onBoard)) addFunctions(board, node(nameOf(bus), "", ""), bus.functions);
        if (!inventory.elsewhere.empty())
            addFunctions(host, node("Neither on the board nor in a slot", "", ""), inventory.elsewhere);
        return text_ + "}\n";
    }

 private:
    std::size_t node(const std::string& label, const std::string& tooltip, const std::string& more) {
        text_ += fmt::format("  n{} [label={}, tooltip={}{}]\n", nodes_, quoted(label),
                             quoted(tooltip.empty() ? label : tooltip), more);
        return nodes_++;
    }

    void edge(std::size_t from, std::size_t to) { text_ += fmt::format("  n{} -- n{}\n", from, to); }

    void addFunctions(std::size_t parent, std::size_t place, const Functions& functions) {
        edge(parent, place);
        for (const Function& function : functions) {
            const Colours& colours = kindOf(function).light;
            const std::string colour = fmt::format(", fillcolor=\"{}\", color=\"{}\", fontcolor=\"{}\"", colours.fill,
                                                   colours.line, colours.text);
            const std::string label = function.location + "  " + function.description;
            edge(place, node(printable(label), tooltipOf(function), colour));
        }
    }

    void addSlot(std::size_t board, const Slot& slot) {
        const std::string number = slot.number ? std::to_string(*slot.number) : "?";
        const std::string label =
            fmt::format("{}  {}  {}  {}", number, nameOf(slot), printable(slot.width), printable(slot.usage));
        const char* const width = slot.usage == "in use" ? ", penwidth=2" : "";
        addFunctions(board, node(label, tooltipOf(slot), width), shown_.include(slot) ? Functions() : slot.functions);
    }

    std::string text_;
    std::size_t nodes_ = 0;
    ShownNumbers shown_;
};

}  // namespace

std::string dotText(const Inventory& inventory) {
    return Graph().text(inventory);
}

}  // namespace cimhost

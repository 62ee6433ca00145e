// Pictures as SVG. Tests: tests/cimhost/picture_test.cpp, drawcommand_test.cpp, tests/e2e/page.py.

#include <fmt/format.h>

#include <pugixml.hpp>

#include "cimhost/functionkind.h"
#include "cimhost/picture.h"
#include "wbem/xml.h"

namespace cimhost {

namespace {

constexpr const char* kNamespace = "http://www.w3.org/2000/svg";

/** Colours of everything but the kinds: ground, board, boxes, lines, text, lesser text, accent. */
struct Ground {
    const char* ground;
    const char* board;
    const char* edge;
    const char* box;
    const char* line;
    const char* text;
    const char* lesser;
    const char* accent;
    const char* onAccent;
};

constexpr Ground kLight{"#ffffff", "#eaf4ee", "#8fbfa3", "#ffffff", "#cbd5d0",
                        "#16211b", "#4b5a52", "#1f7a4d", "#ffffff"};
constexpr Ground kDark{"#0b0f0d", "#0f1f17", "#2f5f48", "#15211b", "#33463c",
                       "#e6eee9", "#a3b5ab", "#4fbf87", "#06130c"};

std::string rule(const std::string& selector, const std::string& declarations) {
    return fmt::format(".machine {}{{{}}}\n", selector, declarations);
}

std::string coloursOf(const Ground& colours, Colours FunctionKind::*ofKind) {
    std::string text =
        rule(".ground>rect", fmt::format("fill:{}", colours.ground)) +
        rule("text", fmt::format("fill:{}", colours.text)) + rule(".text", fmt::format("fill:{}", colours.lesser)) +
        rule(".board>rect", fmt::format("fill:{};stroke:{}", colours.board, colours.edge)) +
        rule(".slot>rect,.machine .bus>rect", fmt::format("fill:{};stroke:{}", colours.box, colours.line)) +
        rule(".badge>rect", fmt::format("fill:{}", colours.accent)) +
        rule(".badge>text", fmt::format("fill:{}", colours.onAccent)) +
        rule(".connector>rect", fmt::format("fill:none;stroke:{}", colours.accent)) +
        rule(".usage>rect", fmt::format("fill:none;stroke:{}", colours.line)) +
        rule(".used>rect", fmt::format("fill:{0};stroke:{0}", colours.accent)) +
        rule(".used>text", fmt::format("fill:{}", colours.onAccent));
    for (const FunctionKind& kind : functionKinds()) {
        const Colours& each = kind.*ofKind;
        text += rule(fmt::format(".{}>rect", kind.word), fmt::format("fill:{};stroke:{}", each.fill, each.line)) +
                rule(fmt::format(".{}>text", kind.word), fmt::format("fill:{}", each.text));
    }
    return text;
}

void addRectangle(pugi::xml_node parent, const Rectangle& at) {
    pugi::xml_node element = wbem::addElement(parent, "rect");
    wbem::addAttribute(element, "x", std::to_string(at.x));
    wbem::addAttribute(element, "y", std::to_string(at.y));
    wbem::addAttribute(element, "width", std::to_string(at.width));
    wbem::addAttribute(element, "height", std::to_string(at.height));
}

void addLabel(pugi::xml_node parent, const Label& label) {
    pugi::xml_node element = wbem::addText(parent, "text", label.text);
    wbem::addAttribute(element, "x", std::to_string(label.x));
    wbem::addAttribute(element, "y", std::to_string(label.baseline));
    wbem::addAttribute(element, "class", label.font->word);
}

/** An element that cuts off what is outside, in which places are counted as outside it. */
pugi::xml_node addWindow(pugi::xml_node parent, const Rectangle& at) {
    pugi::xml_node element = wbem::addElement(parent, "svg");
    // A line is drawn half inside and half outside its rectangle.
    const Rectangle all{at.x - 1, at.y - 1, at.width + 2, at.height + 2};
    wbem::addAttribute(element, "x", std::to_string(all.x));
    wbem::addAttribute(element, "y", std::to_string(all.y));
    wbem::addAttribute(element, "width", std::to_string(all.width));
    wbem::addAttribute(element, "height", std::to_string(all.height));
    wbem::addAttribute(element, "viewBox", fmt::format("{} {} {} {}", all.x, all.y, all.width, all.height));
    return element;
}

void addBox(pugi::xml_node parent, const Box& box) {
    pugi::xml_node group = wbem::addElement(box.clips ? addWindow(parent, box.at) : parent, "g");
    wbem::addAttribute(group, "class", box.style);
    if (!box.tooltip.empty()) wbem::addText(group, "title", box.tooltip);
    addRectangle(group, box.at);
    for (const Label& label : box.labels)
        if (!label.text.empty()) addLabel(group, label);
    for (const Box& part : box.parts) addBox(group, part);
}

/** An element begins on a line of its own, so that differences can be read; texts stay as they are. */
class LineWriter : public pugi::xml_writer {
 public:
    void write(const void* data, std::size_t size) override { text.append(static_cast<const char*>(data), size); }
    std::string text;
};

}  // namespace

std::string pictureStyle() {
    std::string text =
        ".machine{font-family:system-ui,-apple-system,\"Segoe UI\",Roboto,\"Liberation Sans\",Arial,sans-serif}\n";
    text += rule("text", "font-size:12px;unicode-bidi:isolate");
    text += rule(".host", "font-size:26px;font-weight:bold");
    text += rule(".section", "font-size:15px;font-weight:bold");
    text += rule(".name", "font-size:14px;font-weight:bold");
    text += rule(".kind", "font-weight:bold");
    text += rule(".where", "font-size:11px;font-family:ui-monospace,\"DejaVu Sans Mono\",Menlo,Consolas,monospace");
    text += rule(".row>rect,.machine .legend>rect", "fill:none;pointer-events:all");
    text += rule(".board>rect", "rx:12px");
    text += rule(".slot>rect,.machine .bus>rect", "rx:8px");
    text += rule(".apart>rect", "stroke-dasharray:6 4");
    text += rule(".chip>rect", "rx:3px") + rule(".connector>rect", "rx:2px") + rule(".usage>rect", "rx:10px");
    text += rule(".badge>rect", "rx:5px");
    text += rule(".unsure>rect", "stroke-dasharray:3 2");
    text += coloursOf(kLight, &FunctionKind::light);
    return text + "@media (prefers-color-scheme:dark){\n" + coloursOf(kDark, &FunctionKind::dark) + "}\n";
}

void addPicture(pugi::xml_node parent, const Picture& picture) {
    const Rectangle& at = picture.whole.at;
    pugi::xml_node svg = wbem::addElement(parent, "svg");
    wbem::addAttribute(svg, "xmlns", kNamespace);
    wbem::addAttribute(svg, "class", "machine");
    wbem::addAttribute(svg, "width", std::to_string(at.width));
    wbem::addAttribute(svg, "height", std::to_string(at.height));
    wbem::addAttribute(svg, "viewBox", fmt::format("0 0 {} {}", at.width, at.height));
    wbem::addAttribute(svg, "role", "img");
    wbem::addAttribute(svg, "aria-label", picture.title);
    addBox(svg, picture.whole);
}

std::string svgText(const Picture& picture) {
    pugi::xml_document document;
    addPicture(document, picture);
    pugi::xml_node svg = document.document_element();
    // In front of the boxes; the title is what a viewer shows for the document.
    wbem::addText(svg, "title", picture.title);
    wbem::addText(svg, "style", pictureStyle());
    svg.prepend_move(svg.child("style"));
    svg.prepend_move(svg.child("title"));
    LineWriter writer;
    document.save(writer, "", pugi::format_indent | pugi::format_no_declaration, pugi::encoding_utf8);
    return std::move(writer.text);
}

}  // namespace cimhost

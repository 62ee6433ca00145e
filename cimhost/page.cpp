// The page that serve shows in a browser, as a document. Tests: tests/wbem/page_test.cpp, tests/e2e/page.py.

#include "cimhost/page.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <pugixml.hpp>

#include <cstdint>
#include <new>
#include <stdexcept>
#include <utility>

#include "cimhost/picture.h"
#include "cimhost/printable.h"
#include "cimhost/question.h"
#include "page_texts/texts.h"
#include "wbem/xml.h"

namespace cimhost {

namespace {

std::int64_t secondsOf(Readings::Clock::duration duration) {
    return std::chrono::duration_cast<std::chrono::seconds>(duration).count();
}

/** "7 s", "12 min", "30 h". */
std::string ageText(std::int64_t seconds) {
    if (seconds < 120) return fmt::format("{} s", seconds);
    if (seconds < 7200) return fmt::format("{} min", seconds / 60);
    return fmt::format("{} h", seconds / 3600);
}

/** The template's elements are found by their ids, which it has all. */
class Page {
 public:
    Page(const Readings::State& state, const std::string& nonce) : state_(state), nonce_(nonce) {
        const pugi::xml_parse_result result =
            document_.load_string(kPageTemplate, pugi::parse_default | pugi::parse_ws_pcdata_single);
        if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
        if (!result) throw std::runtime_error("the page's template is no XML");
    }

    std::string text() {
        const Inventory* inventory = state_.last ? &state_.last->inventory : nullptr;
        const std::string host = inventory ? printable(inventory->host) : "This machine";
        setText(document_.document_element().child("head").child("title"), host + ": what sits in which slot");
        setText(at("host"), host);
        addWithNonce(document_.document_element().child("head").child("style"),
                     kPageStyle + (inventory ? pictureStyle() : std::string()));
        addWithNonce(document_.document_element().child("body").child("script"), kPageScript);
        addState();
        addNotes();
        if (inventory) {
            addPictures(*inventory);
            addTable(*inventory);
        } else {
            at("picture").parent().remove_child(at("picture"));
            wbem::addAttribute(at("list"), "hidden", "hidden");
        }
        return wbem::toText(document_);
    }

 private:
    pugi::xml_node at(const char* id) {
        return document_.find_node(
            [id](pugi::xml_node node) { return node.attribute("id").value() == std::string(id); });
    }

    static void setText(pugi::xml_node element, const std::string& text) {
        if (!element.text().set(wbem::xmlText(text).c_str())) throw std::bad_alloc();
    }

    void addWithNonce(pugi::xml_node element, const std::string& text) const {
        wbem::addAttribute(element, "nonce", nonce_);
        setText(element, text);
    }

    void addButton() {
        const bool wasTried = state_.last || !state_.failure.empty();
        setText(at("again"), state_.underWay ? "Reading\u2026" : wasTried ? "Read again" : "Read it");
        if (state_.underWay) wbem::addAttribute(at("again"), "disabled", "disabled");
    }

    void addState() {
        pugi::xml_node state = at("state");
        addButton();
        if (!state_.last)
            return setText(state, state_.underWay ? "Nothing was read so far." : "It has not been read yet.");
        const std::int64_t age = secondsOf(Readings::Clock::now() - state_.last->end);
        const auto append = [&](const std::string& text) {
            if (!state.append_child(pugi::node_pcdata).set_value(text.c_str())) throw std::bad_alloc();
        };
        append("Read ");
        pugi::xml_node element = wbem::addText(state, "span", ageText(age));
        wbem::addAttribute(element, "id", "age");
        wbem::addAttribute(element, "data-seconds", std::to_string(age));
        append(" ago (");
        const auto time = fmt::gmtime(std::chrono::system_clock::to_time_t(state_.last->time));
        element = wbem::addText(state, "time", fmt::format("{:%Y-%m-%d %H:%M:%S} UTC", time));
        wbem::addAttribute(element, "datetime", fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", time));
        append(fmt::format("), which took {:.2f} s.", std::chrono::duration<double>(state_.last->took).count()));
    }

    void note(const std::string& text) { wbem::addAttribute(wbem::addText(at("notes"), "p", text), "role", "status"); }

    /** What is to be known besides what is shown. */
    void addNotes() {
        if (state_.underWay)
            note(
                fmt::format("It is being read, for {} so far: as a rule that takes seconds, 15 s where the BMC is "
                            "silent, minutes where it is slow. This page looks again by itself.",
                            ageText(secondsOf(*state_.underWay))));
        if (!state_.failure.empty())
            note(fmt::format("The last attempt to read it failed: {}.{}", printable(state_.failure),
                             state_.last ? " Below is what was read before." : ""));
        if (!state_.last) return;
        const Inventory& inventory = state_.last->inventory;
        if (inventory.status != CMPI_RC_OK || !inventory.consistent)
            note(explanation({inventory.status, {}, std::nullopt, inventory.refusal}, inventory.subject));
        if (inventory.slots.empty() && !state_.last->trouble.empty()) note("BMC: " + state_.last->trouble + ".");
    }

    void addPictures(const Inventory& inventory) {
        for (const auto& [style, width] : {std::pair("wide", kPictureWidth), std::pair("narrow", kNarrowWidth)}) {
            addPicture(at("picture"), layOut(inventory, {width, false, false}));
            pugi::xml_attribute styles = at("picture").last_child().attribute("class");
            if (!styles.set_value(fmt::format("machine {}", style).c_str())) throw std::bad_alloc();
        }
    }

    void addTable(const Inventory& inventory) {
        pugi::xml_node head = wbem::addElement(at("functions").child("thead"), "tr");
        wbem::addAttribute(head, "role", "row");
        for (const char* title : {"Where", "Location", "Vendor:device", "Class", "What"}) {
            pugi::xml_node cell = wbem::addText(head, "th", title);
            wbem::addAttribute(cell, "scope", "col");
            wbem::addAttribute(cell, "role", "columnheader");
        }
        rows_ = at("functions").child("tbody");
        ShownNumbers numbers;
        for (const Slot& slot : inventory.slots) {
            const std::string place =
                fmt::format("Slot {}: {}, {}, {}", slot.number ? std::to_string(*slot.number) : "?", nameOf(slot),
                            slot.width, slot.usage);
            const bool shown = numbers.include(slot);
            if (slot.functions.empty() || shown)
                addRow(place,
                       {"", "", "", {}, shown && !slot.functions.empty() ? "functions as above" : "no function", {}});
            if (!shown) addRows(place, slot.functions);
        }
        addRows("On the board", inventory.onBoard);
        addRows("Neither on the board nor in a slot", inventory.elsewhere);
    }

    void addRows(const std::string& place, const Functions& functions) {
        for (const Function& function : functions) addRow(place, function);
    }

    void addRow(const std::string& place, const Function& function) {
        pugi::xml_node row = wbem::addElement(rows_, "tr");
        wbem::addAttribute(row, "role", "row");
        pugi::xml_node first = wbem::addText(row, "th", printable(place));
        wbem::addAttribute(first, "scope", "row");
        wbem::addAttribute(first, "role", "rowheader");
        for (const auto& [style, text] :
             {std::pair("code", &function.location), std::pair("code", &function.vendorDevice),
              std::pair("code", &function.classCode), std::pair("what", &function.description)}) {
            pugi::xml_node cell = wbem::addElement(row, "td");
            if (!text->empty()) setText(cell, printable(*text));
            wbem::addAttribute(cell, "class", style);
            wbem::addAttribute(cell, "role", "cell");
        }
    }

    const Readings::State& state_;
    const std::string& nonce_;
    pugi::xml_document document_;
    pugi::xml_node rows_;  // of the table
};

}  // namespace

std::string pageText(const Readings::State& state, const std::string& nonce) {
    return Page(state, nonce).text();
}

}  // namespace cimhost

#include "cimhost/tableformat.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "cimhost/codetexts.h"
#include "cimhost/overview.h"
#include "cimhost/properties.h"
#include "cimhost/text.h"
#include "cimhost/texttable.h"

namespace cimhost {

namespace {

/** What `make` makes of each member of a list. */
template <class List, class Make>
auto each(const List& list, Make make) {
    std::vector<decltype(make(list.front()))> made(list.size());
    std::transform(list.begin(), list.end(), made.begin(), make);
    return made;
}

/** The objects in groups of those that fit into one table, groups and members in the order of the answer. */
template <class Object>
std::vector<std::vector<Object>> grouped(const std::vector<Object>& objects,
                                         const std::function<bool(const Object&, const Object&)>& together) {
    std::vector<std::vector<Object>> groups;
    for (const Object& object : objects) {
        const auto fits = [&](const std::vector<Object>& group) { return together(group.front(), object); };
        const auto group = std::find_if(groups.begin(), groups.end(), fits);
        if (group == groups.end()) {
            groups.push_back({object});
        } else {
            group->push_back(object);
        }
    }
    return groups;
}

bool sameClass(const broker::ObjectPath& left, const broker::ObjectPath& right) {
    return left.nameSpace == right.nameSpace && left.className == right.className;
}

bool sameKeyNames(const broker::ObjectPath& left, const broker::ObjectPath& right) {
    const auto sameName = [](const broker::Property& a, const broker::Property& b) {
        return a.name == b.name && a.value.type == b.value.type;
    };
    return sameClass(left, right) &&
           std::equal(left.keys.begin(), left.keys.end(), right.keys.begin(), right.keys.end(), sameName);
}

/** Whether all paths have the same in their key number `i`. */
bool isConstant(const Names& names, std::size_t i) {
    return std::all_of(names.begin(), names.end(), [&](const broker::ObjectPath& path) {
        return path.keys[i].value == names.front().keys[i].value;
    });
}

/** The keys that tell the paths apart, by their numbers; the last one where none does. */
std::vector<std::size_t> tellingKeys(const Names& names) {
    std::vector<std::size_t> telling;
    const std::size_t count = names.front().keys.size();
    for (std::size_t i = 0; i < count; ++i)
        if (!isConstant(names, i)) telling.push_back(i);
    if (telling.empty()) telling.push_back(count - 1);
    return telling;
}

/** "SystemName=host, Tag=System Slot 3", the keys whose numbers are not listed. */
std::string otherKeys(const broker::ObjectPath& path, const std::vector<std::size_t>& listed) {
    std::string text;
    for (std::size_t i = 0; i < path.keys.size(); ++i) {
        if (std::find(listed.begin(), listed.end(), i) != listed.end()) continue;
        text += (text.empty() ? "" : ", ") + path.keys[i].name + '=' + cellText(path.keys[i].value);
    }
    return text;
}

/** A property's value, and what its codes stand for: "4 (In Use)". */
std::string explained(const broker::Instance& instance, const broker::Property& property) {
    const auto text = codeText(instance.path.className, property);
    const std::string value = broker::toString(property.value);
    return text && !text->null ? fmt::format("{} ({})", value, broker::toString(*text)) : value;
}

/** "1" for the first key of the instance's path, empty for a property that is no key. */
std::string keyPosition(const broker::Instance& instance, const broker::Property& property) {
    const broker::Value* key = instance.path.key(property.name);
    for (std::size_t i = 0; key && i < instance.path.keys.size(); ++i)
        if (key == &instance.path.keys[i].value) return std::to_string(i + 1);
    return "";
}

void addNew(std::vector<std::string>& texts, const std::string& text) {
    if (!text.empty() && std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(text);
}

}  // namespace

std::string secondary(const std::string& text, const TableOptions& options) {
    const std::string shown = printable(text, options.charset);
    std::string lines;
    for (const std::string& line : wrap(shown, options.width == 0 ? shown.size() : options.width))
        lines += Paint(options.color).dim(line) + '\n';
    return lines;
}

std::string leftOutNote(const std::vector<std::string>& columns, const std::string& remedy) {
    return columns.empty() ? "" : fmt::format("left out: {} ({} shows them)", fmt::join(columns, ", "), remedy);
}

std::string TableFormatter::text(const Answer& answer) const {
    Notes notes;
    std::string text = std::visit([&](const auto& list) { return objects(list, notes); }, answer.objects);
    for (const std::string& note : notes) text += secondary(note, options_);
    return text + secondary(summary(answer), options_);
}

std::string TableFormatter::objects(const Instances& instances, Notes& notes) const {
    std::string text;
    const auto together = [](const broker::Instance& a, const broker::Instance& b) {
        return sameClass(a.path, b.path);
    };
    for (const Instances& group : grouped<broker::Instance>(instances, together)) {
        if (!options_.inFull && !overviewColumns(group.front().path.className).empty()) {
            text += classOverview(group, notes);
        } else {
            for (const broker::Instance& instance : group) text += listing(instance, notes);
        }
    }
    return text;
}

std::string TableFormatter::objects(const Names& names, Notes&) const {
    std::string text;
    if (options_.inFull) {
        for (const broker::ObjectPath& path : names) text += printable(broker::toString(path), options_.charset) + '\n';
        return text;
    }
    for (const Names& group : grouped<broker::ObjectPath>(names, sameKeyNames)) text += keyTable(group);
    return text;
}

std::string TableFormatter::classOverview(const Instances& instances, Notes& notes) const {
    const std::vector<OverviewColumn> columns = overviewColumns(instances.front().path.className);
    TextTable table(each(columns, [](const OverviewColumn& column) { return column.heading; }), options_.charset);
    for (const broker::Instance& instance : instances)
        table.add(each(columns, [&](const OverviewColumn& column) { return column.cell(instance); }));
    if (options_.toTerminal) {
        const auto gone = table.leaveOut(options_.width);
        addNew(notes, leftOutNote(each(gone, [&](std::size_t i) { return columns[i].heading.text; }),
                                  "--all or a wider terminal"));
    }
    return title(instances.front().path) + drawn(table, options_.overflow()) + '\n';
}

std::string TableFormatter::listing(const broker::Instance& instance, Notes& notes) const {
    const std::vector<Heading> headings = {
        {"Property"}, {"Type", Align::left, false, 1}, {"Key", Align::left, false, 2}, {"Value", Align::left, true}};
    TextTable table(headings, options_.charset);
    for (const broker::Property& property : instance.properties)
        table.add({property.name, broker::typeName(property.value.type), keyPosition(instance, property),
                   explained(instance, property)});
    if (options_.toTerminal) {
        const auto gone = table.leaveOut(options_.width);
        addNew(notes, leftOutNote(each(gone, [&](std::size_t i) { return headings[i].text; })));
    }
    return title(instance.path) + drawn(table, Overflow::wrap) + '\n';
}

std::string TableFormatter::keyTable(const Names& names) const {
    const broker::ObjectPath& first = names.front();
    if (first.keys.empty()) return title(first);
    const std::vector<std::size_t> telling = tellingKeys(names);
    TextTable table(each(telling, [&](std::size_t i) { return Heading{first.keys[i].name}; }), options_.charset);
    for (const broker::ObjectPath& path : names)
        table.add(each(telling, [&](std::size_t i) { return cellText(path.keys[i].value); }));
    const std::string others = otherKeys(first, telling);
    return title(first) + (others.empty() ? "" : secondary("Same in all: " + others, options_)) +
           drawn(table, options_.overflow()) + '\n';
}

/** "root/kavix:QELTA_PCIDevice". */
std::string TableFormatter::title(const broker::ObjectPath& path) const {
    return secondary(fmt::format("{}:{}", path.nameSpace, path.className), options_);
}

std::string TableFormatter::drawn(const TextTable& table, Overflow overflow) const {
    std::string text;
    bool isHead = true;
    for (const TextTable::Lines& row : table.rows(options_.width, overflow)) {
        for (const std::string& line : row) text += (isHead ? paint_.bold(line) : line) + '\n';
        isHead = false;
    }
    return text;
}

}  // namespace cimhost

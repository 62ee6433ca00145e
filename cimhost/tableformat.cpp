// Answers as tables for people: the columns of each class, listings of single instances, names. Tests:
// tests/cimhost/format_test.cpp.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <map>

#include "cimhost/formats.h"
#include "cimhost/properties.h"
#include "cimhost/selection.h"

namespace cimhost {

namespace {

// --- the columns that sum up an instance in one line ---

/** One column: what of an instance stands in it. */
struct Column {
    Heading heading;
    std::function<std::string(const broker::Instance&)> cell;
};

using Columns = std::vector<Column>;

Heading dispensable(const std::string& text, unsigned rank, Align align = Align::left) {
    return {text, align, false, rank};
}

auto plain(const std::string& property) {
    return [property](const broker::Instance& instance) { return textOf(instance, property); };
}

auto slotWord(const std::string& property) {
    return [property](const broker::Instance& instance) { return slotWordOf(instance, property); };
}

auto hexPair(const std::string& first, const std::string& second, int digits) {
    return [=](const broker::Instance& instance) { return hexPairOf(instance, first, second, digits); };
}

const Columns kFunctionColumns = {
    {{"Location"}, [](const broker::Instance& instance) { return shortLocation(textOf(instance, "DeviceID")); }},
    {dispensable("Ven:Dev", 1), hexPair("VendorID", "PciDeviceID", 4)},
    {dispensable("Class", 2), hexPair("ClassCode", "Subclass", 2)},
    {dispensable("Rev", 4), [](const broker::Instance& instance) { return hexOf(instance, "Revision", 2); }},
    {dispensable("Number", 5, Align::right), plain("Number")},
    {dispensable("UINumber", 3, Align::right), plain("UINumber")},
    {{"Description", Align::left, true}, plain("Description")}};

const Columns kSlotColumns = {{{"Tag"}, plain("Tag")},
                              {{"Designation"}, plain("SlotDesignation")},
                              {{"Usage"}, slotWord("CurrentUsage")},
                              {dispensable("Width", 1), slotWord("MaxDataWidth")},
                              {dispensable("Type", 2), slotWord("ConnectorType")},
                              {dispensable("Length", 3), slotWord("SlotLength")},
                              {dispensable("HotPlug", 4), plain("SupportsHotPlug")}};

const Columns kAssociationColumns = {{{"Antecedent"}, plain("Antecedent")}, {{"Dependent"}, plain("Dependent")}};

/** None for a class that has no overview. */
const Columns& overviewColumns(const std::string& className) {
    static const std::map<std::string, Columns> classes = {{"QELTA_PCIDevice", kFunctionColumns},
                                                           {"QELTA_PCIBridge", kFunctionColumns},
                                                           {"QELTA_SystemSlot", kSlotColumns},
                                                           {"QELTA_DeviceInSlot", kAssociationColumns},
                                                           {"QELTA_OnBoardDevice", kAssociationColumns}};
    static const Columns none;
    const auto found = classes.find(className);
    return found == classes.end() ? none : found->second;
}

// --- parts of answers ---

/** What `make` makes of each member of a list. */
template <typename List, typename Make>
auto each(const List& list, Make make) {
    std::vector<decltype(make(list.front()))> made(list.size());
    std::transform(list.begin(), list.end(), made.begin(), make);
    return made;
}

/** The objects in groups of those that fit into one table, groups and members in the order of the answer. */
template <typename Object>
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

/** "1" for the first key of the instance's path, empty for a property that is not a key. */
std::string keyPosition(const broker::Instance& instance, const broker::Property& property) {
    const broker::Value* key = instance.path.key(property.name);
    for (std::size_t i = 0; key && i < instance.path.keys.size(); ++i)
        if (key == &instance.path.keys[i].value) return std::to_string(i + 1);
    return "";
}

/** Writes one answer. */
class Tables {
 public:
    explicit Tables(const TableOptions& options) : options_(options) {}

    std::string operator()(const Instances& instances) {
        std::string text;
        const auto together = [](const broker::Instance& a, const broker::Instance& b) {
            return sameClass(a.path, b.path);
        };
        for (const Instances& group : grouped<broker::Instance>(instances, together)) {
            if (!options_.inFull && !overviewColumns(group.front().path.className).empty()) {
                text += overview(group);
            } else {
                for (const broker::Instance& instance : group) text += listing(instance);
            }
        }
        return text;
    }

    std::string operator()(const Names& names) {
        std::string text;
        if (options_.inFull) {
            for (const broker::ObjectPath& path : names)
                text += printable(broker::toString(path), options_.charset) + '\n';
            return text;
        }
        for (const Names& group : grouped<broker::ObjectPath>(names, sameKeyNames)) text += keyTable(group);
        return text;
    }

    /** What the tables leave out, each said once. */
    std::string notes() const {
        std::string text;
        for (const std::string& note : notes_.inOrder()) text += secondary(note, options_);
        return text;
    }

 private:
    void leaveOut(TextTable& table, const char* remedy) {
        if (options_.toTerminal) notes_.add(leftOutNote(table.leaveOut(options_.width), remedy));
    }

    std::string overview(const Instances& instances) {
        const Columns& columns = overviewColumns(instances.front().path.className);
        TextTable table(each(columns, [](const Column& column) { return column.heading; }), options_.charset);
        for (const broker::Instance& instance : instances)
            table.add(each(columns, [&](const Column& column) { return column.cell(instance); }));
        leaveOut(table, "--all or a wider terminal");
        return title(instances.front().path) + drawn(table, options_.overflow());
    }

    std::string listing(const broker::Instance& instance) {
        TextTable table({{"Property"}, dispensable("Type", 1), dispensable("Key", 2), {"Value", Align::left, true}},
                        options_.charset);
        for (const broker::Property& property : instance.properties)
            table.add({property.name, broker::typeName(property.value.type), keyPosition(instance, property),
                       explainedText(instance, property)});
        leaveOut(table, "a wider terminal");
        return title(instance.path) + drawn(table, Overflow::wrap);
    }

    std::string keyTable(const Names& names) const {
        const broker::ObjectPath& first = names.front();
        if (first.keys.empty()) return title(first);
        const std::vector<std::size_t> telling = tellingKeys(names);
        TextTable table(each(telling, [&](std::size_t i) { return Heading{first.keys[i].name}; }), options_.charset);
        for (const broker::ObjectPath& path : names)
            table.add(each(telling, [&](std::size_t i) { return cellText(path.keys[i].value); }));
        const std::string others = otherKeys(first, telling);
        return title(first) + (others.empty() ? "" : secondary("Same in all: " + others, options_)) +
               drawn(table, options_.overflow());
    }

    /** "root/kavix:QELTA_PCIDevice". */
    std::string title(const broker::ObjectPath& path) const {
        return secondary(fmt::format("{}:{}", path.nameSpace, path.className), options_);
    }

    std::string drawn(const TextTable& table, Overflow overflow) const {
        std::string text;
        bool isHead = true;
        for (const TextTable::Lines& row : table.rows(options_.width, overflow)) {
            for (const std::string& line : row) text += (isHead ? bold(line, options_) : line) + '\n';
            isHead = false;
        }
        return text + '\n';
    }

    const TableOptions& options_;
    DistinctTexts notes_;
};

}  // namespace

std::string bold(const std::string& text, const TableOptions& options) {
    return options.color && !text.empty() ? "\033[1m" + text + "\033[0m" : text;
}

std::string secondary(const std::string& text, const TableOptions& options) {
    const std::string shown = printable(text, options.charset);
    std::string lines;
    for (const std::string& line : wrap(shown, options.width == 0 ? shown.size() : options.width))
        lines += (options.color && !line.empty() ? "\033[2m" + line + "\033[0m" : line) + '\n';
    return lines;
}

std::string leftOutNote(const std::vector<std::string>& columns, const std::string& remedy) {
    return columns.empty() ? "" : fmt::format("left out: {} ({} shows them)", fmt::join(columns, ", "), remedy);
}

std::string asTable(const Answer& answer, const TableOptions& options) {
    Tables tables(options);
    const std::string text = std::visit(tables, answer.objects);
    return text + tables.notes() + secondary(summary(answer), options);
}

}  // namespace cimhost

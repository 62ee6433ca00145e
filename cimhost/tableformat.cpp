#include "cimhost/tableformat.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <utility>

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

/** "root/kavix:QELTA_PCIDevice", the title of a table. */
std::string title(const broker::ObjectPath& path) {
    return printable(fmt::format("{}:{}", path.nameSpace, path.className)) + '\n';
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

Heading keyHeading(const broker::Property& key) {
    return {fmt::format("{} ({})", key.name, broker::typeName(key.value.type))};
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

/** "1" for the first key of the instance's path, empty for a property that is no key. */
std::string keyPosition(const broker::Instance& instance, const broker::Property& property) {
    const broker::Value* key = instance.path.key(property.name);
    for (std::size_t i = 0; key && i < instance.path.keys.size(); ++i)
        if (key == &instance.path.keys[i].value) return std::to_string(i + 1);
    return "";
}

}  // namespace

std::string TableFormatter::text(const Answer& answer) const {
    return std::visit([this](const auto& list) { return objects(list); }, answer.objects) + summary(answer) + '\n';
}

std::string TableFormatter::objects(const Instances& instances) const {
    std::string text;
    const auto together = [](const broker::Instance& a, const broker::Instance& b) {
        return sameClass(a.path, b.path);
    };
    for (const Instances& group : grouped<broker::Instance>(instances, together)) {
        if (!options_.inFull && !overviewColumns(group.front().path.className).empty()) {
            text += classOverview(group);
        } else {
            for (const broker::Instance& instance : group) text += listing(instance);
        }
    }
    return text;
}

std::string TableFormatter::objects(const Names& names) const {
    std::string text;
    if (options_.inFull) {
        for (const broker::ObjectPath& path : names) text += printable(broker::toString(path)) + '\n';
        return text;
    }
    for (const Names& group : grouped<broker::ObjectPath>(names, sameKeyNames)) text += keyTable(group);
    return text;
}

std::string TableFormatter::classOverview(const Instances& instances) const {
    const std::vector<OverviewColumn> columns = overviewColumns(instances.front().path.className);
    TextTable table(each(columns, [](const OverviewColumn& column) { return column.heading; }));
    for (const broker::Instance& instance : instances)
        table.add(each(columns, [&](const OverviewColumn& column) { return column.cell(instance); }));
    return title(instances.front().path) + table.cutTo(options_.width) + '\n';
}

std::string TableFormatter::listing(const broker::Instance& instance) const {
    TextTable table({{"Property"}, {"Type"}, {"Key"}, {"Value"}});
    for (const broker::Property& property : instance.properties)
        table.add({property.name, broker::typeName(property.value.type), keyPosition(instance, property),
                   broker::toString(property.value)});
    return title(instance.path) + table.wrappedTo(options_.width) + '\n';
}

std::string TableFormatter::keyTable(const Names& names) const {
    const std::vector<broker::Property>& keys = names.front().keys;
    if (keys.empty()) return title(names.front());
    TextTable table(each(keys, keyHeading));
    for (const broker::ObjectPath& path : names)
        table.add(each(path.keys, [](const broker::Property& key) { return cellText(key.value); }));
    return title(names.front()) + table.cutTo(options_.width) + '\n';
}

}  // namespace cimhost

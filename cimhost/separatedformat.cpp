#include "cimhost/separatedformat.h"

#include <algorithm>

#include "cimhost/codetexts.h"
#include "mof/embedded.h"
#include "cim/names.h"

namespace cimhost {

namespace {

using Row = std::vector<std::string>;

std::string quoted(const std::string& field) {
    if (field.find_first_of(",\"") == std::string::npos) return field;
    std::string text;
    for (const char letter : field) text += std::string(letter == '"' ? 2 : 1, letter);
    return '"' + text + '"';
}

std::string fieldOf(const broker::Value& value) {
    if (value.null) return "";
    const auto* elements = std::get_if<std::vector<broker::Value>>(&value.data);
    if (!elements) return broker::toString(value);
    std::string text;
    for (const broker::Value& element : *elements) text += (&element == elements->data() ? "" : ";") + fieldOf(element);
    return text;
}

/** A path as an instance that has nothing but its keys. */
broker::Instance keysOf(const broker::ObjectPath& path) {
    return {path, path.keys};
}

void addNew(Row& names, const std::string& name) {
    const auto isSame = [&](const std::string& other) { return cim::sameName(other, name); };
    if (std::none_of(names.begin(), names.end(), isSame)) names.push_back(name);
}

/** The properties that are columns, each once. `ofSchema`: those too that no object has, but its class declares. */
Row propertiesOf(const Instances& objects, bool ofSchema) {
    Row names;
    for (const broker::Instance& object : objects) {
        const mof::Class* declared = ofSchema ? schema::declared().find(object.path.className) : nullptr;
        if (!declared) continue;
        for (const mof::Property& property : declared->properties) addNew(names, property.name);
    }
    for (const broker::Instance& object : objects)
        for (const broker::Property& property : object.properties) addNew(names, property.name);
    return names;
}

/** A property, and whether a column with its codes' texts follows. */
struct Column {
    std::string property;
    bool coded = false;
};

std::vector<Column> columnsOf(const Instances& objects, const Row& properties) {
    std::vector<Column> columns;
    for (const std::string& property : properties) {
        const auto isCodedIn = [&](const auto& object) { return isCoded(object.path.className, property); };
        columns.push_back({property, std::any_of(objects.begin(), objects.end(), isCodedIn)});
    }
    return columns;
}

Row headOf(const std::vector<Column>& columns) {
    Row head = {"Class"};
    for (const Column& column : columns) {
        head.push_back(column.property);
        if (column.coded) head.push_back(column.property + kTextSuffix);
    }
    head.emplace_back("Path");
    return head;
}

Row recordOf(const broker::Instance& object, const std::vector<Column>& columns) {
    Row record = {object.path.className};
    for (const Column& column : columns) {
        const broker::Value* value = object.property(column.property);
        const broker::Property property = {column.property, value ? *value : broker::Value()};
        record.push_back(fieldOf(property.value));
        if (!column.coded) continue;
        const auto text = codeText(object.path.className, property);
        record.push_back(text ? fieldOf(*text) : "");
    }
    record.push_back(broker::toString(object.path));
    return record;
}

std::vector<Row> table(const Instances& objects, bool ofSchema) {
    if (objects.empty()) return {};
    const std::vector<Column> columns = columnsOf(objects, propertiesOf(objects, ofSchema));
    std::vector<Row> rows = {headOf(columns)};
    for (const broker::Instance& object : objects) rows.push_back(recordOf(object, columns));
    return rows;
}

std::vector<Row> rowsOf(const Instances& instances) {
    return table(instances, true);
}

std::vector<Row> rowsOf(const Names& names) {
    Instances objects(names.size());
    std::transform(names.begin(), names.end(), objects.begin(), keysOf);
    return table(objects, false);
}

}  // namespace

std::string separatedLine(const std::vector<std::string>& fields, Separator separator, Charset charset) {
    std::string line;
    for (const std::string& field : fields) {
        if (&field != fields.data()) line += separator == Separator::comma ? ',' : '\t';
        const std::string shown = printable(field, charset);
        line += separator == Separator::comma ? quoted(shown) : shown;
    }
    return line + '\n';
}

std::string SeparatedFormatter::text(const Answer& answer) const {
    std::string text;
    for (const Row& row : std::visit([](const auto& objects) { return rowsOf(objects); }, answer.objects))
        text += separatedLine(row, separator_, charset_);
    return text;
}

}  // namespace cimhost

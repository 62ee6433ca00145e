// CSV and TSV: the fields of an answer, and rows as lines. Tests: tests/cimhost/json_test.cpp, formats.py.

#include <algorithm>

#include "cim/names.h"
#include "cimhost/formats.h"
#include "cimhost/properties.h"
#include "mof/embedded.h"

namespace cimhost {

namespace {

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

void addColumn(Row& names, const std::string& name) {
    const auto isSame = [&](const std::string& other) { return cim::sameName(other, name); };
    if (std::none_of(names.begin(), names.end(), isSame)) names.push_back(name);
}

/** The properties that are columns, each once. `ofSchema`: those too that no object has, but its class declares. */
Row propertiesOf(const Instances& objects, bool ofSchema) {
    Row names;
    for (const broker::Instance& object : objects) {
        const mof::Class* declared = ofSchema ? schema::declared().find(object.path.className) : nullptr;
        if (!declared) continue;
        for (const mof::Property& property : declared->properties) addColumn(names, property.name);
    }
    for (const broker::Instance& object : objects)
        for (const broker::Property& property : object.properties) addColumn(names, property.name);
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
        const auto isCodedIn = [&](const auto& object) { return codeText(object.path.className, {property, {}}); };
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

/** One function for each kind of answer. */
struct ToRows {
    std::vector<Row> operator()(const Instances& instances) const { return table(instances, true); }
    std::vector<Row> operator()(const Names& names) const {
        Instances objects;
        for (const broker::ObjectPath& path : names) objects.push_back({path, path.keys});
        return table(objects, false);
    }
};

}  // namespace

std::vector<Row> rowsOf(const Answer& answer) {
    return std::visit(ToRows{}, answer.objects);
}

std::string separated(Format format, const std::vector<Row>& rows, const TableOptions& options) {
    const Charset charset = options.toTerminal ? options.charset : Charset::utf8;
    std::string text;
    for (const Row& row : rows) {
        for (const std::string& field : row) {
            if (&field != row.data()) text += format == Format::csv ? ',' : '\t';
            const std::string shown = printable(field, charset);
            text += format == Format::csv ? quoted(shown) : shown;
        }
        text += '\n';
    }
    return text;
}

}  // namespace cimhost

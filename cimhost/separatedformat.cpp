// CSV and TSV: the fields of an answer, and rows as lines. Tests: tests/cimhost/json_test.cpp, formats.py.

#include <algorithm>
#include <utility>

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

/** Names and texts, in their order. */
using Fields = std::vector<std::pair<std::string, std::string>>;

/** Adds a property, and the text of its code where it has one. */
void addProperty(Fields& fields, const std::string& className, const broker::Property& property) {
    fields.emplace_back(property.name, fieldOf(property.value));
    if (const auto text = codeText(className, property))
        fields.emplace_back(property.name + kTextSuffix, fieldOf(*text));
}

Fields fieldsOf(const broker::Instance& object) {
    Fields fields;
    for (const broker::Property& property : object.properties) addProperty(fields, object.path.className, property);
    return fields;
}

/** Empty fields for what the schema declares for the class. */
Fields declaredFields(const std::string& className) {
    Fields fields;
    if (const mof::Class* declared = schema::declared().find(className))
        for (const mof::Property& property : declared->properties)
            addProperty(fields, className, {property.name, broker::Value()});
    return fields;
}

Fields::const_iterator fieldNamed(const std::string& name, const Fields& fields) {
    const auto isNamed = [&](const auto& field) { return cim::sameName(field.first, name); };
    return std::find_if(fields.begin(), fields.end(), isNamed);
}

/** `ofSchema`: there are columns too for what no object has, but its class declares. */
std::vector<Row> table(const Instances& objects, bool ofSchema) {
    if (objects.empty()) return {};
    Fields columns;
    const auto add = [&](const Fields& fields) {
        for (const auto& field : fields)
            if (fieldNamed(field.first, columns) == columns.end()) columns.push_back(field);
    };
    for (const broker::Instance& object : objects)
        if (ofSchema) add(declaredFields(object.path.className));
    for (const broker::Instance& object : objects) add(fieldsOf(object));
    std::vector<Row> rows = {{"Class"}};
    for (const auto& column : columns) rows.front().push_back(column.first);
    rows.front().emplace_back("Path");
    for (const broker::Instance& object : objects) {
        const Fields fields = fieldsOf(object);
        Row& row = rows.emplace_back(Row{object.path.className});
        for (const auto& column : columns) {
            const auto field = fieldNamed(column.first, fields);
            row.push_back(field == fields.end() ? "" : field->second);
        }
        row.push_back(broker::toString(object.path));
    }
    return rows;
}

/** Names as instances that have nothing but their keys. */
Instances instancesOf(const Names& names) {
    Instances objects;
    for (const broker::ObjectPath& path : names) objects.push_back({path, path.keys});
    return objects;
}

const Instances& instancesOf(const Instances& instances) {
    return instances;
}

/** One function for each kind of answer. */
struct ToRows {
    std::vector<Row> operator()(const Instances& instances) const { return table(instances, true); }
    std::vector<Row> operator()(const Names& names) const { return table(instancesOf(names), false); }
};

bool isKey(const std::string& className, const std::string& name) {
    const mof::Class* declared = schema::declared().find(className);
    const mof::Property* property = declared != nullptr ? declared->property(name) : nullptr;
    return property != nullptr && property->isKey();
}

}  // namespace

std::vector<Row> rowsOf(const Answer& answer) {
    return std::visit(ToRows{}, answer.objects);
}

Row columnsOf(const Question& question) {
    Row columns = {"Class"};
    for (const std::string& className : question.classes)
        for (const auto& [name, nothing] : declaredFields(className))
            if ((!question.namesOnly || isKey(className, name)) &&
                std::find(columns.begin(), columns.end(), name) == columns.end())
                columns.push_back(name);
    columns.emplace_back("Path");
    return columns;
}

std::vector<Row> rowsBelow(const Row& columns, const Answer& answer) {
    std::vector<Row> rows;
    const auto addRows = [&](const auto& objects) {
        for (const broker::Instance& object : instancesOf(objects)) {
            const Fields fields = fieldsOf(object);
            Row& row = rows.emplace_back(Row{object.path.className});
            for (std::size_t i = 1; i + 1 < columns.size(); ++i) {
                const auto field = fieldNamed(columns[i], fields);
                row.push_back(field == fields.end() ? "" : field->second);
            }
            row.push_back(broker::toString(object.path));
        }
    };
    std::visit(addRows, answer.objects);
    return rows;
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

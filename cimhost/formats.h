#ifndef PCIINFO_CIMHOST_FORMATS_H
#define PCIINFO_CIMHOST_FORMATS_H

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <string>
#include <vector>

#include "cimhost/printable.h"
#include "cimhost/question.h"
#include "cimhost/texttable.h"

namespace cimhost {

enum class Format { table, mof, json, jsonl, csv, tsv };

/** How text for people is laid out; the other formats look at the character set alone. */
struct TableOptions {
    std::size_t width = 0;  // columns that a line may take; 0: as many as it needs
    bool inFull = false;    // every property and whole paths, instead of one line for each object
    bool toTerminal = false;
    Charset charset = Charset::utf8;
    bool color = false;

    /** On a terminal people look; elsewhere nothing may get lost. */
    Overflow overflow() const { return toTerminal ? Overflow::cut : Overflow::wrap; }
};

/** An answer in whole lines, in a format as the functions below have it. */
std::string formatted(const Answer& answer, Format format, const TableOptions& options);

/** "CMPI_RC_OK, 18 instances"; names are counted as "names". */
std::string summary(const Answer& answer);

// --- for people ---

/**
 * Instances: one table for each class in the answer, a line for each instance; in full, and for a class that has no
 * overview, a table for each instance with name, type, key position and value of every property, and the text of a
 * code after it. Names: a table of the keys in their order, those that are the same in all rows told once above it; in
 * full, the paths as they are written. The status is the last line. On a narrow terminal dispensable columns are left
 * out, which is told above the status; see TextTable for what else becomes of narrow widths.
 */
std::string asTable(const Answer& answer, const TableOptions& options);

/**
 * Instances as MOF instance declarations, their paths, the type of each property and whether it is a key in comments;
 * names as one object path to a line. The status is a comment at the end.
 */
std::string asMof(const Answer& answer, Charset charset);

/** A heading, bold where there are colours. */
std::string bold(const std::string& text, const TableOptions& options);

/** Lines that matter less than a table: dim where there are colours, and wrapped at the width. */
std::string secondary(const std::string& text, const TableOptions& options);

/** "left out: Rev, Number (a wider terminal shows them)", empty where nothing was. */
std::string leftOutNote(const std::vector<std::string>& columns, const std::string& remedy = "a wider terminal");

// --- for programs; docs/cimhost.schema.json describes the JSON ---

using Json = nlohmann::ordered_json;

/** {"text": "root/kavix:...", "namespace", "class", "keys": {name: value}}; "text" is what commands take. */
Json json(const broker::ObjectPath& path);

/** "path", then a member for each property, and after a coded one its text as NAMEText. */
Json json(const broker::Instance& instance);

/**
 * The document in Format::json; in the others the records, which have the same members: a JSON object a line, or a head
 * line of the members' names and a line for each. There is no other format. Bytes that are not UTF-8 become U+FFFD.
 */
std::string structured(Format format, const Json& document, const std::vector<Json>& records,
                       const TableOptions& options);

using Row = std::vector<std::string>;

/**
 * The fields of an answer: a head row, then one for each object, without the status; nothing where there are no
 * objects. The columns of instances are "Class", all properties that the schema declares for the classes in the answer,
 * in its order, each coded one with its text, properties that it does not declare, and "Path". Those of names are
 * "Class", the keys, and "Path". Elements of arrays are joined by ";", nulls are empty.
 */
std::vector<Row> rowsOf(const Answer& answer);

/**
 * The same columns for every answer to a question: those that the schema declares for the classes that may be in it,
 * and the rows of an answer below them, without a head. Properties that the schema does not declare are not there.
 */
Row columnsOf(const Question& question);
std::vector<Row> rowsBelow(const Row& columns, const Answer& answer);

/** The rows of records, all of which have the same members, below a head row. */
std::vector<Row> rowsOf(const std::vector<Json>& records);

/**
 * Rows as lines. Format::csv: quoted as in RFC 4180, but with a mere line feed as line end; Format::tsv: never quoted,
 * as no field contains a tab or a line end: those are replaced as printable() does. Off a terminal the characters stay,
 * whatever the locale.
 */
std::string separated(Format format, const std::vector<Row>& rows, const TableOptions& options);

}  // namespace cimhost

#endif

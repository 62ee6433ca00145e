// What object managers elsewhere answer, as the client reads it and the command line writes it. The input is the
// message; its first byte chooses the request.
#include <algorithm>
#include <string>
#include <vector>

#include "cimhost/formats.h"
#include "client/answer.h"
#include "host.h"

namespace {

using client::Operation;
using fuzz::require;

constexpr Operation kOperations[] = {Operation::enumerateInstances, Operation::enumerateInstanceNames,
                                     Operation::associators,        Operation::associatorNames,
                                     Operation::references,         Operation::referenceNames};

bool hasNames(Operation operation) {
    return operation == Operation::enumerateInstanceNames || operation == Operation::associatorNames ||
           operation == Operation::referenceNames;
}

/** An instance is as the provider made it. */
void expectAsMade(const broker::Instance& instance) {
    for (const broker::Property& property : instance.properties)
        require(!property.value.null || instance.path.key(property.name) != nullptr, "what is null was not set");
    for (const broker::Property& key : instance.path.keys)
        require(key.value.null || instance.property(key.name) != nullptr, "keys are properties, too");
}

/** However it is written, it is in whole lines, one for each object where the format says so. */
void write(const cimhost::Answer& answer, std::size_t count) {
    cimhost::TableOptions options;
    options.width = 60;
    for (const auto format : {cimhost::Format::table, cimhost::Format::mof, cimhost::Format::json,
                              cimhost::Format::jsonl, cimhost::Format::csv, cimhost::Format::tsv}) {
        const std::string text = cimhost::formatted(answer, format, options);
        require(text.empty() || text.back() == '\n', "the output is in lines");
        if (format == cimhost::Format::jsonl)
            require(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) == count,
                    "there is a line for each object");
    }
    cimhost::Question question = cimhost::enumerateInstances("QELTA_SystemSlot");
    const cimhost::Row columns = cimhost::columnsOf(question);
    for (const cimhost::Row& row : cimhost::rowsBelow(columns, answer))
        require(row.size() == columns.size(), "rows are as long as the head");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0) return 0;
    const Operation operation = kOperations[bytes[0] % std::size(kOperations)];
    const std::string message(reinterpret_cast<const char*>(bytes) + 1, size - 1);
    const client::Request request = {operation, {"root/kavix", "QELTA_SystemSlot", {}}};
    broker::Response response;
    try {
        response = client::readAnswer(request, message);
    } catch (const std::runtime_error&) {
        return 0;  // it is none
    }
    require(client::readAnswer(request, message).paths == response.paths, "two runs give the same");
    require(hasNames(operation) ? response.instances.empty() : response.paths.empty(), "an answer is of its request");
    require(response.status == CMPI_RC_OK || (response.instances.empty() && response.paths.empty()), "or a status");
    for (const broker::Instance& instance : response.instances) expectAsMade(instance);
    if (hasNames(operation))
        write({response.status, response.paths}, response.paths.size());
    else
        write({response.status, response.instances}, response.instances.size());
    return 0;
}

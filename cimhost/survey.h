#ifndef PCIINFO_CIMHOST_SURVEY_H
#define PCIINFO_CIMHOST_SURVEY_H

#include <functional>
#include <string>
#include <vector>

#include "cimhost/command.h"
#include "cimhost/remote.h"

namespace cimhost {

/** What a server was found to have. */
struct Finding {
    std::string text;       // whole lines, where they are not rows
    std::vector<Row> rows;  // of csv and tsv, as below the survey's head
    std::string refusal;    // why the server has not answered, a sentence; empty: it has
    std::string note;       // what is to be said of the answer besides
};

/** What is to be found out of several servers, in a format that has a record in a line. */
struct Survey {
    std::string question;  // the same text for the same question, for its state
    Row head;              // of csv and tsv
    std::function<Finding(const Ask&, const TableOptions&)> ask;
};

Survey surveyOf(const Question& question, const Settings& settings);
/** Of what sits where. */
Survey surveyOfTree(const Settings& settings);

/**
 * Asks the servers of a list, writes what they have to standard output, each line with the server's name in front of it
 * (table) or in it (jsonl, csv, tsv) and in one call of write, and to standard error who has not answered. A server
 * from which not all could be had has no line.
 */
ExitCode runSurvey(const Settings& settings, const RemoteOptions& remote, const Survey& survey);

}  // namespace cimhost

#endif

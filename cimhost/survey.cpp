// Questions to several object managers. Tests: tests/e2e/servers.py.

#include "cimhost/survey.h"

#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include "cimhost/recordwriter.h"
#include "cimhost/serverlist.h"
#include "cimhost/surveystate.h"
#include "client/crowd.h"
#include "client/failure.h"

namespace cimhost {

namespace {

using Clock = std::chrono::steady_clock;

bool isSeparated(Format format) {
    return format == Format::csv || format == Format::tsv;
}

/** A connection takes a descriptor, looking up a name two, and one more may be kept for a while. */
void allowDescriptors(std::size_t parallel) {
    rlimit limit{};
    const rlim_t needed = 4 * static_cast<rlim_t>(parallel) + 32;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= needed) return;
    limit.rlim_cur = std::min(needed, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < needed)
        throw std::runtime_error(fmt::format("--parallel {}: the process may have {} descriptors, which is for {}",
                                             parallel, limit.rlim_cur, (limit.rlim_cur - 32) / 4));
}

/** A line at the bottom of a terminal, written over and over; elsewhere it does nothing. */
class StatusLine {
 public:
    explicit StatusLine(std::size_t total) : total_(total) {}
    ~StatusLine() { clear(); }
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

    void show(const client::Progress& progress) {
        const Clock::time_point now = Clock::now();
        if (!isTerminal_ || (isShown_ && now < next_)) return;
        next_ = now + std::chrono::milliseconds(200);
        isShown_ = true;
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - start_).count();
        std::fputs(fmt::format("\r\x1b[K{} of {} servers, {} without an answer, {} being asked, {}:{:02}",
                               progress.answered + progress.failed, total_, progress.failed, progress.underWay,
                               seconds / 60, seconds % 60)
                       .c_str(),
                   stderr);
        std::fflush(stderr);
    }
    /** Makes room for other lines. */
    void clear() {
        if (isShown_) std::fputs("\r\x1b[K", stderr);
        isShown_ = false;
    }

    bool isTerminal() const { return isTerminal_; }
    double seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

 private:
    const bool isTerminal_ = stderrIsTerminal();
    const std::size_t total_;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point next_;
    bool isShown_ = false;
};

/** The lines of a finding, the server's name in each. */
std::string recordsOf(const std::string& server, const Finding& finding, const Settings& settings) {
    if (isSeparated(settings.format)) {
        std::vector<Row> rows = finding.rows;
        for (Row& row : rows) row.insert(row.begin(), server);
        return separated(settings.format, rows, settings.table);
    }
    // A record is an object with members, so that another one can be put before them.
    const std::string name = printable(server, settings.table.charset);
    const std::string front = settings.format == Format::jsonl ? fmt::format("{{\"server\":{},", Json(server).dump())
                                                               : fmt::format("{}: ", name);
    std::string records;
    for (const std::string& line : lines(finding.text))
        records += front + (settings.format == Format::jsonl ? line.substr(1) : line) + '\n';
    return records;
}

/** One run over the servers of a list. */
class Run {
 public:
    Run(const Settings& settings, const RemoteOptions& remote, const Survey& survey,
        std::vector<client::Listed> servers)
        : settings_(settings),
          remote_(remote),
          survey_(survey),
          servers_(std::move(servers)),
          table_(besideNames(settings.table)),
          state_(remote.state, survey.question, STDOUT_FILENO),
          status_(countLeft()) {}

    ExitCode go() {
        writeHead();
        const client::Progress progress = client::askCrowd(remote_.access, remote_.parallel, handlers());
        writer_.finish();
        status_.clear();
        if (progress.failed > 0 || empty_ > 0 || status_.isTerminal()) summarize(progress);
        return progress.failed > 0 ? kNoAnswer : kSuccess;
    }

 private:
    /** Lines have the server's name in front. */
    TableOptions besideNames(TableOptions table) const {
        constexpr std::size_t kLeast = 20;
        std::size_t longest = 0;
        for (const client::Listed& each : servers_) longest = std::max(longest, columnsOf(each.name) + 2);
        if (table.width > 0) table.width = std::max(table.width, longest + kLeast) - longest;
        return table;
    }

    std::size_t countLeft() const {
        return static_cast<std::size_t>(std::count_if(
            servers_.begin(), servers_.end(), [&](const client::Listed& each) { return !state_.isDone(each.name); }));
    }

    client::CrowdHandlers handlers() {
        client::CrowdHandlers handlers;
        handlers.next = [this] { return next(); };
        handlers.ask = [this](const client::Listed& listed, broker::ObjectManager& manager,
                              const std::function<std::string()>& refusal) { return ask(listed, manager, refusal); };
        handlers.failed = [this](const client::Listed& listed, const std::exception& error) {
            begun_.erase(listed.name);
            const auto* failure = dynamic_cast<const client::Failure*>(&error);
            say(listed.name,
                failure != nullptr ? fmt::format("{}: {}", failure->asked(), failure->came()) : error.what());
        };
        handlers.mayBegin = [this] { return !writer_.isBehind(); };
        handlers.goOn = [this](const client::Progress& progress) {
            writer_.check();
            if (writer_.isIdle()) status_.show(progress);
            return true;
        };
        return handlers;
    }

    std::optional<client::Listed> next() {
        while (next_ < servers_.size() && state_.isDone(servers_[next_].name)) ++next_;
        if (next_ == servers_.size()) return std::nullopt;
        begun_[servers_[next_].name] = Clock::now();
        return servers_[next_++];
    }

    bool ask(const client::Listed& listed, broker::ObjectManager& manager,
             const std::function<std::string()>& refusal) {
        const auto put = [&](const Question& question) {
            Answer answer = question.ask(manager);
            answer.refusal = refusal();
            return answer;
        };
        const Finding finding = survey_.ask(put, table_);
        const Clock::duration taken = Clock::now() - begun_[listed.name];
        begun_.erase(listed.name);
        if (!finding.refusal.empty()) {
            say(listed.name, finding.refusal);
            return false;
        }
        if (!finding.note.empty()) say(listed.name, finding.note);
        const std::string records = recordsOf(listed.name, finding, settings_);
        if (records.empty()) sayNothingCame(listed.name, finding, taken);
        write(listed.name, records);
        return true;
    }

    void sayNothingCame(const std::string& name, const Finding& finding, Clock::duration taken) {
        ++empty_;
        if (!finding.note.empty()) return;
        constexpr double kWaitForBmc = 5;
        const double seconds = std::chrono::duration<double>(taken).count();
        say(name, fmt::format("no objects; it took {:.1f} s{}", seconds,
                              seconds < kWaitForBmc ? "" : ", its BMC may be silent"));
    }

    /** Under an empty name, once for all runs with one state. */
    void writeHead() {
        if (!isSeparated(settings_.format) || state_.isDone("")) return;
        Row head = survey_.head;
        head.insert(head.begin(), "Server");
        write("", separated(settings_.format, {head}, settings_.table));
    }

    void write(const std::string& name, const std::string& records) {
        status_.clear();
        writer_.put(name, records);
    }

    void say(const std::string& server, const std::string& what) {
        status_.clear();
        complain(fmt::format("{}: {}", server, what));
    }

    void summarize(const client::Progress& progress) const {
        const double seconds = status_.seconds();
        const std::string empty = empty_ > 0 ? fmt::format(", {} of them without objects", empty_) : "";
        complain(fmt::format("{} answered{}, {} did not; {} in {:.1f} s, {:.0f} a second",
                             counted(progress.answered, "server"), empty, progress.failed,
                             counted(progress.requests, "answer"), seconds,
                             static_cast<double>(progress.requests) / std::max(seconds, 0.001)));
    }

    const Settings& settings_;
    const RemoteOptions& remote_;
    const Survey& survey_;
    const std::vector<client::Listed> servers_;
    const TableOptions table_;
    SurveyState state_;
    RecordWriter writer_{state_};
    StatusLine status_;
    std::size_t next_ = 0;
    std::unordered_map<std::string, Clock::time_point> begun_;  // those who are being asked
    std::size_t empty_ = 0;                                     // who answered without objects
};

}  // namespace

Survey surveyOf(const Question& question, const Settings& settings) {
    const Row head = columnsOf(question);
    const auto ask = [question, head, format = settings.format](const Ask& put, TableOptions table) -> Finding {
        const Answer answer = put(question);
        Finding finding;
        (answer.status == CMPI_RC_OK || answer.existing ? finding.note : finding.refusal) =
            explanation(answer, question);
        table.inFull = table.inFull || question.inFull;
        if (isSeparated(format))
            finding.rows = rowsBelow(head, answer);
        else
            finding.text = formatted(answer, format, table);
        return finding;
    };
    return {"", head, ask};
}

Survey surveyOfTree(const Settings& settings) {
    Inventory slotAlone;
    slotAlone.slots.emplace_back();
    const auto ask = [format = settings.format](const Ask& put, const TableOptions& table) -> Finding {
        const Inventory inventory = takeInventory(put);
        Finding finding;
        finding.refusal = explanation({inventory.status, {}, std::nullopt, inventory.refusal}, inventory.subject);
        if (isSeparated(format)) {
            finding.rows = rowsOf(treeRecords(inventory));
            if (!finding.rows.empty()) finding.rows.erase(finding.rows.begin());
        } else {
            finding.text = formatted(inventory, format, table);
        }
        return finding;
    };
    return {"", rowsOf(treeRecords(slotAlone)).front(), ask};
}

ExitCode runSurvey(const Settings& settings, const RemoteOptions& remote, const Survey& survey) {
    std::optional<Run> run;
    try {
        std::vector<client::Listed> servers = serversOf(remote.servers);
        if (servers.empty()) throw std::runtime_error(fmt::format("{}: no server is listed", remote.servers));
        allowDescriptors(remote.parallel);
        run.emplace(settings, remote, survey, std::move(servers));
    } catch (const std::runtime_error& error) {
        complain(error.what());
        return kCannotAsk;
    }
    try {
        return run->go();
    } catch (const ReaderGone&) {
        return kSuccess;
    } catch (const std::runtime_error& error) {
        complain(error.what());
        return kErrorStatus;
    }
}

}  // namespace cimhost

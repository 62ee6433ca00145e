// Metrics of one host. Tests: tests/exporter/metrics_test.cpp.
#include "exporter/metrics.h"

#include <fmt/format.h>
#include <prometheus/text_serializer.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "cimhost/printable.h"
#include "cimhost/properties.h"

namespace exporter {

namespace {

using Labels = std::vector<prometheus::ClientMetric::Label>;

constexpr std::size_t kLabelColumns = 120;  // of a text that a host chose

prometheus::MetricFamily gauge(const std::string& name, const std::string& help) {
    return {name, help, prometheus::MetricType::Gauge, {}};
}

void add(prometheus::MetricFamily& family, Labels labels, double value = 1) {
    // A label without a value is none.
    labels.erase(std::remove_if(labels.begin(), labels.end(), [](const auto& each) { return each.value.empty(); }),
                 labels.end());
    family.metric.emplace_back();
    family.metric.back().label = std::move(labels);
    family.metric.back().gauge.value = value;
}

prometheus::MetricFamily single(const std::string& name, const std::string& help, double value) {
    prometheus::MetricFamily family = gauge(name, help);
    add(family, {}, value);
    return family;
}

/** Text of a host, as a label: valid UTF-8 without control characters, not too long; empty where there is none. */
std::string labelText(const std::string& text) {
    return text == cimhost::kNothing ? "" : cimhost::cut(cimhost::printable(text), kLabelColumns);
}

/** "8086" and "10fb" of "8086:10fb". */
std::pair<std::string, std::string> halves(const std::string& pair) {
    const std::size_t colon = pair.find(':');
    if (colon == std::string::npos) return {labelText(pair), ""};
    return {labelText(pair.substr(0, colon)), labelText(pair.substr(colon + 1))};
}

/** Tells things apart that are named alike: "" for the first of a name, then "2", "3"... */
class Occurrences {
 public:
    template <typename... Texts>
    std::string next(const Texts&... name) {
        const unsigned count = ++counts_[std::vector<std::string>{name...}];
        return count == 1 ? "" : std::to_string(count);
    }

 private:
    std::map<std::vector<std::string>, unsigned> counts_;
};

// --- functions ---

void addFunctions(Families& families, const cimhost::Inventory& inventory) {
    prometheus::MetricFamily info =
        gauge("pciinfo_function_info", "A PCI function of the host, by address, IDs, and the place where it is.");
    Occurrences occurrences;
    std::set<std::string> told;  // slot numbers: slots that share one have the same functions
    std::map<std::string, std::size_t> counts = {{"board", 0}, {"slot", 0}, {"elsewhere", 0}};
    const auto addAll = [&](const cimhost::Functions& functions, const std::string& place, const std::string& slot) {
        counts[place] += functions.size();
        for (const cimhost::Function& function : functions) {
            const auto [vendor, device] = halves(function.vendorDevice);
            const auto [base, subclass] = halves(function.classCode);
            const std::string address = labelText(function.location);
            add(info, {{"address", address},
                       {"vendor_id", vendor},
                       {"device_id", device},
                       {"class_id", base + subclass},
                       {"description", labelText(function.description)},
                       {"place", place},
                       {"slot", slot},
                       {"occurrence", occurrences.next(address)}});
        }
    };
    addAll(inventory.onBoard, "board", "");
    for (const cimhost::Slot& slot : inventory.slots) {
        const std::string number = std::to_string(slot.number.value_or(0));
        if (!slot.functions.empty() && told.insert(number).second) addAll(slot.functions, "slot", number);
    }
    addAll(inventory.elsewhere, "elsewhere", "");
    families.push_back(std::move(info));

    prometheus::MetricFamily count = gauge("pciinfo_functions", "How many PCI functions the host has, by place.");
    for (const auto& [place, number] : counts) add(count, {{"place", place}}, static_cast<double>(number));
    families.push_back(std::move(count));
}

// --- slots ---

void addSlots(Families& families, const cimhost::Inventory& inventory) {
    prometheus::MetricFamily info = gauge("pciinfo_slot_info", "A system slot of the host, as its firmware tells it.");
    prometheus::MetricFamily used =
        gauge("pciinfo_slot_in_use", "Whether the firmware says of the slot that it is in use (1) or not (0).");
    prometheus::MetricFamily functions = gauge("pciinfo_slot_functions", "How many PCI functions are in the slot.");
    Occurrences occurrences;
    for (const cimhost::Slot& slot : inventory.slots) {
        const std::string number = slot.number ? std::to_string(*slot.number) : "";
        const std::string designation = labelText(slot.designation);
        const Labels identity = {
            {"slot", number}, {"designation", designation}, {"occurrence", occurrences.next(number, designation)}};
        Labels all = identity;
        all.insert(
            all.end(),
            {{"type", labelText(slot.type)}, {"width", labelText(slot.width)}, {"usage", labelText(slot.usage)}});
        add(info, all);
        add(used, identity, slot.usage == "in use" ? 1 : 0);
        add(functions, identity, static_cast<double>(slot.functions.size()));
    }
    families.push_back(single("pciinfo_slots", "How many system slots the host's answer has.",
                              static_cast<double>(inventory.slots.size())));
    families.insert(families.end(), {std::move(info), std::move(used), std::move(functions)});
}

bool readsTable(const RequestTime& request) {
    return request.className != "QELTA_SystemBoard";
}

void addProbed(Families& families, const Probed& probed) {
    const cimhost::Inventory& inventory = probed.inventory;
    prometheus::MetricFamily host = gauge("pciinfo_host_info", "The host, by the name that it has for itself.");
    add(host, {{"name", labelText(inventory.host)}});
    families.push_back(std::move(host));
    families.push_back(single("pciinfo_probe_table_readings",
                              "How often the probe had the SMBIOS table read, 331 exchanges with the BMC each.",
                              inventory.readings));
    families.push_back(single("pciinfo_bmc_silent_ratio",
                              "How sure it is, from 0 to 1, that slots are missing because the BMC did not answer: "
                              "the part of the table's readings that took 5 s or more; 0 where there are slots.",
                              silenceOf(probed)));
    prometheus::MetricFamily requests = gauge("pciinfo_request_duration_seconds", "What the probe's requests took.");
    for (const RequestTime& request : probed.requests)
        add(requests, {{"class", request.className}}, request.time.count());
    families.push_back(std::move(requests));
    addFunctions(families, inventory);
    addSlots(families, inventory);
}

}  // namespace

double silenceOf(const Probed& probed) {
    const auto& requests = probed.requests;
    const auto readings = std::count_if(requests.begin(), requests.end(), readsTable);
    if (!probed.inventory.slots.empty() || readings == 0) return 0;
    const auto silent = std::count_if(requests.begin(), requests.end(), [](const RequestTime& request) {
        return readsTable(request) && request.time >= kSilence;
    });
    return static_cast<double>(silent) / static_cast<double>(readings);
}

Families familiesOf(const Outcome& outcome, Seconds took) {
    const auto* failure = std::get_if<Failure>(&outcome);
    Families families;
    families.push_back(
        single("pciinfo_up", "Whether the object manager answered all that the probe asked.", failure ? 0 : 1));
    families.push_back(single("pciinfo_probe_duration_seconds", "What the probe took in all.", took.count()));
    if (failure != nullptr) {
        families.push_back(gauge("pciinfo_probe_failure_info", "Why the probe has no answer."));
        add(families.back(), {{"reason", failure->reason}});
    } else {
        addProbed(families, std::get<Probed>(outcome));
    }
    return families;
}

Families scrapeFamilies(Seconds age, bool pending) {
    Families families = {
        single("pciinfo_probe_pending", "Whether a probe of the target waits or is under way.", pending)};
    if (age.count() >= 0)
        families.push_back(
            single("pciinfo_probe_age_seconds", "How long ago the probe ended that is told of.", age.count()));
    return families;
}

std::string expositionOf(const Families& families) {
    return prometheus::TextSerializer().Serialize(families);
}

}  // namespace exporter

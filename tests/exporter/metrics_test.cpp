// What is told of a host, as Prometheus gets it.

#include "exporter/metrics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "cimhost/printable.h"
#include "machine.h"

namespace {

using cimhost::Inventory;
using exporter::Failure;
using exporter::Outcome;
using exporter::Seconds;
using machine::function;
using machine::probed;
using machine::slot;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Lines = std::vector<std::string>;

/** The samples of metrics whose names begin so. */
Lines samples(const Outcome& outcome, const std::string& name) {
    Lines found;
    for (const std::string& line : cimhost::lines(exporter::expositionOf(familiesOf(outcome, Seconds(1.5)))))
        if (line.rfind(name, 0) == 0) found.push_back(line);
    return found;
}

Inventory twoSlots() {
    Inventory inventory;
    inventory.onBoard = {function("00:00.0", "8086:2020", "06:00", "Host bridge: Acme")};
    inventory.slots = {slot(5, "PCIE5", {function("3b:05.0"), function("3b:05.1")}), slot(6, "PCIE6", {}, "available")};
    inventory.elsewhere = {function("00:03.0")};
    inventory.functionCount = 4;
    return inventory;
}

TEST(Metrics, TellFunctionsAndTheirPlaces) {
    const Outcome outcome = probed(twoSlots());
    EXPECT_THAT(
        samples(outcome, "pciinfo_function_info"),
        ElementsAre(
            R"(pciinfo_function_info{address="00:00.0",vendor_id="8086",device_id="2020",class_id="0600",description="Host bridge: Acme",place="board"} 1)",
            R"(pciinfo_function_info{address="3b:05.0",vendor_id="8086",device_id="10fb",class_id="0200",description="Ethernet controller: Acme",place="slot",slot="5"} 1)",
            R"(pciinfo_function_info{address="3b:05.1",vendor_id="8086",device_id="10fb",class_id="0200",description="Ethernet controller: Acme",place="slot",slot="5"} 1)",
            R"(pciinfo_function_info{address="00:03.0",vendor_id="8086",device_id="10fb",class_id="0200",description="Ethernet controller: Acme",place="elsewhere"} 1)"));
    EXPECT_THAT(samples(outcome, "pciinfo_functions"),
                ElementsAre(R"(pciinfo_functions{place="board"} 1)", R"(pciinfo_functions{place="elsewhere"} 1)",
                            R"(pciinfo_functions{place="slot"} 2)"));
}

TEST(Metrics, TellSlots) {
    const Outcome outcome = probed(twoSlots());
    EXPECT_THAT(
        samples(outcome, "pciinfo_slot"),
        ElementsAre("pciinfo_slots 2",
                    R"(pciinfo_slot_info{slot="5",designation="PCIE5",type="PCIe3",width="x8",usage="in use"} 1)",
                    R"(pciinfo_slot_info{slot="6",designation="PCIE6",type="PCIe3",width="x8",usage="available"} 1)",
                    R"(pciinfo_slot_in_use{slot="5",designation="PCIE5"} 1)",
                    R"(pciinfo_slot_in_use{slot="6",designation="PCIE6"} 0)",
                    R"(pciinfo_slot_functions{slot="5",designation="PCIE5"} 2)",
                    R"(pciinfo_slot_functions{slot="6",designation="PCIE6"} 0)"));
}

TEST(Metrics, TellTheProbe) {
    const Outcome outcome = probed(twoSlots(), 0.5);
    EXPECT_THAT(samples(outcome, "pciinfo_up"), ElementsAre("pciinfo_up 1"));
    EXPECT_THAT(samples(outcome, "pciinfo_host_info"), ElementsAre(R"(pciinfo_host_info{name="node1"} 1)"));
    EXPECT_THAT(samples(outcome, "pciinfo_probe"),
                ElementsAre("pciinfo_probe_duration_seconds 1.5", "pciinfo_probe_table_readings 3"));
    EXPECT_THAT(samples(outcome, "pciinfo_request"),
                Contains(R"(pciinfo_request_duration_seconds{class="QELTA_SystemSlot"} 0.5)"));
}

TEST(Metrics, TellAFailureByItsReasonAlone) {
    const Outcome outcome = Failure{"timeout", "nothing came in 5 s"};
    const std::string text = exporter::expositionOf(familiesOf(outcome, Seconds(5)));
    EXPECT_THAT(text, HasSubstr("pciinfo_up 0\n"));
    EXPECT_THAT(text, HasSubstr("pciinfo_probe_failure_info{reason=\"timeout\"} 1\n"));
    EXPECT_THAT(text, Not(HasSubstr("pciinfo_slot")));
    EXPECT_THAT(text, Not(HasSubstr("pciinfo_function")));
}

TEST(Metrics, HaveNoTwoSeriesWithTheSameLabels) {
    Inventory inventory;
    inventory.onBoard = {function("00:1f.0"), function("00:1f.0"), function("00:1f.0", "8086:1")};  // of PCI domains
    inventory.slots = {slot(5, "A", {function("00:05.0")}), slot(5, "B", {function("00:05.0")}),    // of one number
                       slot(6, "C"), slot(6, "C"), slot(7, "C")};
    inventory.slots.push_back({std::nullopt, "-", "-", "-", {}, "-"});
    inventory.slots.push_back(inventory.slots.back());
    inventory.elsewhere = {function("00:1f.0")};
    Lines series;
    for (const std::string& line : samples(probed(inventory), "pciinfo"))
        series.push_back(line.substr(0, line.rfind(' ')));
    std::sort(series.begin(), series.end());
    EXPECT_EQ(std::adjacent_find(series.begin(), series.end()), series.end());
    EXPECT_EQ(samples(probed(inventory), "pciinfo_function_info").size(), 5U);
    EXPECT_EQ(samples(probed(inventory), "pciinfo_slot_info").size(), 7U);
    EXPECT_THAT(series, Contains(R"(pciinfo_slot_in_use{slot="6",designation="C",occurrence="2"})"));
}

TEST(Metrics, HaveLabelsOfBoundedValidText) {
    Inventory inventory;
    inventory.onBoard = {function("00:00.0", "8086:1", "06:00", "a\"b\\c\nd\xff" + std::string(5000, 'x'))};
    const Lines lines = samples(probed(inventory), "pciinfo_function_info");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_THAT(lines[0], HasSubstr(R"(description="a\"b\\c\\x0ad\\xffxxx)"));
    EXPECT_THAT(lines[0], HasSubstr("xxx...\""));
    EXPECT_LT(lines[0].size(), 300U);
}

/** The part of the readings that took long enough, of three. */
TEST(Metrics, TellHowSureItIsThatTheBmcIsSilent) {
    Inventory none;
    none.onBoard = {function("00:00.0")};
    exporter::Probed some = probed(none, 5.0);
    some.requests[0].time = Seconds(9);  // the board's needs no table
    some.requests[3].time = Seconds(4.9);
    EXPECT_EQ(silenceOf(probed(none, 0.3)), 0);
    EXPECT_EQ(silenceOf(probed(none, 5.0)), 1);
    EXPECT_DOUBLE_EQ(silenceOf(some), 2.0 / 3);
    EXPECT_EQ(silenceOf(probed(twoSlots(), 60)), 0) << "slow, not silent";
    EXPECT_THAT(samples(probed(none, 5.1), "pciinfo_bmc_silent"), ElementsAre("pciinfo_bmc_silent_ratio 1"));
}

/** Answers with so many slots, or with the status for one class. */
cimhost::Ask answering(std::size_t slots, const std::string& failing = "") {
    return [=](const cimhost::Question& question) {
        cimhost::Answer answer;
        cimhost::Instances instances(question.subject == "QELTA_SystemSlot" ? slots : 0);
        for (auto& each : instances) each.path.className = question.subject;
        answer.objects = instances;
        answer.status = question.subject == failing ? CMPI_RC_ERR_FAILED : CMPI_RC_OK;
        return answer;
    };
}

TEST(TakenInventory, HasTheRequestsWithTheirTimes) {
    const Outcome outcome = exporter::takeInventory(answering(2));
    const auto& taken = std::get<exporter::Probed>(outcome);
    EXPECT_EQ(taken.inventory.slots.size(), 2U);
    ASSERT_EQ(taken.requests.size(), 4U);
    EXPECT_EQ(taken.requests[3].className, "QELTA_SystemSlot");
}

TEST(TakenInventory, IsAFailureWhereAnyRequestFails) {
    const Outcome outcome = exporter::takeInventory(answering(2, "QELTA_PCIBridge"));
    EXPECT_EQ(std::get<Failure>(outcome).reason, "cim-status");
    EXPECT_THAT(std::get<Failure>(outcome).message, StartsWith("QELTA_PCIBridge: CMPI_RC_ERR_FAILED"));
}

/** Of a host whose BMC gives the table for the slots alone, however often it is asked. */
TEST(TakenInventory, IsAFailureWhereReadingsDisagree) {
    const Outcome outcome = exporter::takeInventory([](const cimhost::Question& question) {
        cimhost::Instances instances;
        if (question.subject == "QELTA_SystemSlot" || question.subject == "QELTA_PCIDevice") {
            instances.emplace_back();
            instances[0].properties = {{"Number", broker::Value::uint(CMPI_uint16, 3)}};
        }
        return cimhost::Answer{CMPI_RC_OK, instances};
    });
    ASSERT_TRUE(std::holds_alternative<Failure>(outcome));
    EXPECT_EQ(std::get<Failure>(outcome).reason, "inconsistent");
    EXPECT_THAT(samples(outcome, "pciinfo_slot"), IsEmpty());
    EXPECT_THAT(samples(outcome, "pciinfo_function"), IsEmpty());
}

TEST(TakenInventory, IsAFailureWhereItIsNoRealMachines) {
    EXPECT_EQ(std::get<Failure>(exporter::takeInventory(answering(exporter::kMostSlots + 1))).reason, "too-large");
    EXPECT_TRUE(std::holds_alternative<exporter::Probed>(exporter::takeInventory(answering(exporter::kMostSlots))));
}

}  // namespace

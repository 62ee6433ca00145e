#ifndef PCIINFO_TESTS_UNIT_BMCHOST_H
#define PCIINFO_TESTS_UNIT_BMCHOST_H

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "emulator/emulatedhost.h"
#include "ipmi/IpmiDataStore.h"
#include "tests/support/hostbuilder.h"

using emulator::Bytes;
using emulator::Fault;
using emulator::Occasion;

/** `count` bytes that differ from their neighbours and, in whole files, from one chunk to the next. */
inline Bytes pattern(std::size_t count, unsigned seed = 1) {
    Bytes bytes(count);
    std::uint32_t state = seed;
    for (std::uint8_t& byte : bytes) {
        state = state * 1103515245U + 12345U;
        byte = static_cast<std::uint8_t>(state >> 16);
    }
    return bytes;
}

/** Faults by their kind; where and how often they strike is set with at(). */
inline Fault refusal(std::uint8_t completionCode) {
    Fault fault;
    fault.completionCode = completionCode;
    return fault;
}
inline Fault timeOut() {
    Fault fault;
    fault.timeout = true;
    return fault;
}
inline Fault answerOf(const Bytes& data) {
    Fault fault;
    fault.data = data;
    return fault;
}
/** The answer cut or zero-extended to that length. */
inline Fault answerLength(std::size_t length) {
    Fault fault;
    fault.length = length;
    return fault;
}
/** A read answer without data, in place of the one due. */
inline Fault emptyRead() {
    return answerOf({0x00, 0xD9, 0x7E, 0x00, 0, 0});
}
/** A write answer that tells `count` bytes as taken. */
inline Fault writeTook(std::uint8_t count) {
    return answerOf({0x00, 0xD9, 0x7E, count, 0});
}
inline Fault at(Occasion occasion, Fault fault, unsigned from = 1, unsigned times = 0) {
    fault.on = occasion;
    fault.from = from;
    fault.times = times;
    return fault;
}

/** Runs work(i) on `count` threads at once, i from 0 on. */
template <typename Work>
void onThreads(unsigned count, Work work) {
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < count; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
}

/** The product's transport over a host with a BMC. Waits are virtual. Nothing may be logged, nor left open. */
class BmcHostTest : public testing::Test {
 protected:
    BmcHostTest() { tPCIInfo::MAX_KCS_BUFF_SIZE = 200; }

    ~BmcHostTest() override {
        tPCIInfo::disconnect_kcs();
        tPCIInfo::MAX_KCS_BUFF_SIZE = 200;
        EXPECT_EQ(host.openFiles(), 0U);
        EXPECT_EQ(host.interleavedExchanges(), 0U);
    }

    emulator::Bmc& bmc() { return host.bmc(); }
    void strike(Occasion occasion, const Fault& fault, unsigned from = 1, unsigned times = 0) {
        bmc().addFault(at(occasion, fault, from, times));
    }

    /** Makes every thread pause after each request that it sends, so that another one gets its chance to interfere. */
    void pauseBehindRequests() {
        host.onEvent([](const emulator::Event& event) {
            if (std::holds_alternative<emulator::Sent>(event)) {
                std::this_thread::sleep_for(std::chrono::microseconds(20));
            }
        });
    }

    /** The data of every request that was sent, in order. */
    std::vector<Bytes> requests() const {
        std::vector<Bytes> all;
        for (const emulator::Sent& sent : host.eventsOf<emulator::Sent>()) all.push_back(sent.request.data);
        return all;
    }
    template <typename Kind>
    std::size_t count() const {
        return host.eventsOf<Kind>().size();
    }

    /** Milliseconds that have passed on the emulated clock since the fixture was made. */
    long long passedMs() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start_).count();
    }

    testsupport::HostBuilder files;
    emulator::EmulatedHost host{files.directory()};

 private:
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

#endif

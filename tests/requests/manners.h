#ifndef PCIINFO_TESTS_REQUESTS_MANNERS_H
#define PCIINFO_TESTS_REQUESTS_MANNERS_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "broker/broker.h"
#include "mof/declaration.h"
#include "mof/embedded.h"

namespace testsupport {

/** Those of the object manager that this program's requests go through: PCIINFO_MANNERS in the environment, by name. */
inline broker::Manners manners() {
    static const broker::Manners chosen = [] {
        const char* name = std::getenv("PCIINFO_MANNERS");
        return name == nullptr ? broker::Manners::standard : broker::mannersNamed(name);
    }();
    return chosen;
}

/** What is expected under the manners of this program. */
template <typename Expectation>
Expectation under(const broker::manners::Row<Expectation>& expectations) {
    return expectations.of(manners());
}

/** What a get's result takes of all instances that the provider delivers: OpenPegasus refuses all but the first. */
template <typename Objects>
Objects takenOfGet(Objects all) {
    constexpr broker::manners::Row<bool> kTheFirstAlone = {false, false, true, true};
    if (under(kTheFirstAlone) && all.size() > 1) all.erase(all.begin() + 1, all.end());
    return all;
}

/**
 * An object manager with the manners of this program, which hands the requests of a test to the provider as they are.
 * What it complains of has to be known.
 */
class ManneredBroker : public broker::Broker {
 public:
    ManneredBroker() : Broker(testsupport::manners()) {
        if (testsupport::manners() != broker::Manners::standard) schema::declareTo(*this, schema::declared());
        passOnAsAsked(true);
    }

    /** By name what the provider does knowingly though some object managers refuse it. */
    void expectNoComplaintBut(const std::vector<std::string>& known) const {
        for (const std::string& complaint : complaints()) {
            EXPECT_NE(std::find(known.begin(), known.end(), complaint), known.end()) << complaint;
        }
    }
};

/** A get delivers every instance of the class. Object managers send the first of them; OpenPegasus refuses the others.
 */
inline const std::vector<std::string> kKnownComplaints = {"result.returnInstance: a second instance for a get"};

}  // namespace testsupport

#endif

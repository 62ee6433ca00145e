#ifndef PCIINFO_CIMHOST_SESSION_H
#define PCIINFO_CIMHOST_SESSION_H

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include "broker/broker.h"
#include "cimhost/bmcwatch.h"
#include "cimhost/question.h"
#include "emulator/emulatedhost.h"

namespace cimhost {

/** Where the provider comes from and which machine it is to see. */
struct Surroundings {
    std::string library;                                  // empty: the library is looked for, see libraryPlaces()
    std::string hostDirectory;                            // empty: the machine as it is
    bool realWaits = false;                               // an emulated host's waits take their time
    broker::Manners manners = broker::Manners::standard;  // of the object manager that asks
    std::string catalogue = {};  // a directory that stands in for /etc/vmware; empty: the host's own
};

/** The provider threw; the message is that of its exception, "" where it has none. */
class ProviderException : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

/** Takes one line at a time of what the provider does, ready to be shown. May be called from any thread. */
using Tracer = std::function<void(const std::string& line)>;

/** A provider that is loaded and may be asked, on a host of its own where one is given. One session lives at a time. */
class Session {
 public:
    /** An empty tracer: no trace. Throws std::runtime_error when host or library cannot be had. */
    explicit Session(const Surroundings& surroundings, Tracer tracer = {});

    /**
     * What the provider writes to standard output meanwhile goes to the trace, and so does what the object manager
     * refuses. Throws ProviderException, and cim::Shortage where the answer may lack something.
     */
    Answer ask(const Question& question);

    /** The same beside other requests: what the provider writes to standard output is left alone. From any thread. */
    Answer askBeside(const Question& question);

    /** How the provider gets on with the BMC. */
    const BmcWatch& bmc() const { return bmc_; }

    /**
     * For requests side by side; what the provider writes to standard output is left alone then. Who asks here calls
     * traceRefusals() afterwards.
     */
    broker::Broker& manager() { return broker_; }

    /** Brings what the object manager has refused since the last time to the trace. May be called from any thread. */
    void traceRefusals();

 private:
    void openHost(const Surroundings& surroundings);
    void trace(const std::string& text);

    // In this order: the host outlives the provider, whose code runs until the broker has gone.
    Tracer tracer_;
    BmcWatch bmc_;
    std::optional<emulator::EmulatedHost> host_;
    broker::Broker broker_;
};

}  // namespace cimhost

#endif

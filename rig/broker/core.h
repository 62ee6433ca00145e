#ifndef PCIINFO_BROKER_CORE_H
#define PCIINFO_BROKER_CORE_H

#include <cmpi/cmpift.h>

#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "broker/broker.h"
#include "broker/calllog.h"
#include "broker/classes.h"
#include "broker/manners.h"

namespace broker {

class Object;

/** The function tables of one broker. Its own, not static: a test may take slots away. */
struct Tables {
    Tables();

    CMPIBrokerFT broker;
    CMPIBrokerEncFT encapsulation;
    CMPIBrokerExtFT extension;
    CMPIContextFT context;
    CMPIResultFT result;
    CMPIStringFT string;
    CMPIArrayFT array;
    CMPIEnumerationFT enumeration;
    CMPIInstanceFT instance;
    CMPIObjectPathFT objectPath;
};

/** What all objects of one broker share. */
class Core {
 public:
    explicit Core(Manners manners);
    ~Core();
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    static Core& of(const CMPIBroker* handle);

    std::optional<CMPIrc> enter(const char* function, const char* name = nullptr, CMPIType type = CMPI_null,
                                std::size_t index = 0) {
        return log.enter(function, name, type, index);
    }

    /**
     * Makes an object that lives until the session of this thread ends. Throws std::logic_error where the thread has
     * none: nobody would free the object.
     */
    template <class T, class... Args>
    T& make(Args&&... args) {
        auto object = std::make_unique<T>(*this, std::forward<Args>(args)...);
        T& result = *object;
        keep(std::move(object));
        return result;
    }

    /**
     * Begin and end a stretch of this thread during which objects may be made. Sessions nest; what was made in any of
     * them is freed when the outermost ends.
     */
    void beginSession();
    void endSession();
    /** A session for a thread of the provider's own, one at a time. False: it has one already, or has none to end. */
    bool attachThread();
    bool detachThread();

    void add(const void* handle, Object* object);
    void remove(const void* handle);
    /** The living object of this broker behind a handle that a provider passed inside a value, or null. */
    Object* find(const void* handle) const;

    template <class Behaviour>
    Behaviour behaviour(const manners::Row<Behaviour>& row) const {
        return row.of(manners);
    }
    /** A behaviour towards clients, which is the standard one while requests are passed on as they are. */
    template <class Behaviour>
    Behaviour dispatches(const manners::Row<Behaviour>& row) const {
        return passesOnAsAsked ? row.standard : row.of(manners);
    }

    /** Notes that `call` was refused, or what else there is to complain of, and with what of it. */
    void complain(const std::string& call, const std::string& what);
    /**
     * The status of a call that does what the verdict is about; CMPI_RC_OK where it is taken or dropped. Everything but
     * taking it is complained of, and a fatal thing ends the requests of this thread.
     */
    CMPIrc judge(manners::Verdict verdict, const std::string& call, const std::string& what);
    std::vector<std::string> complaints() const;
    std::vector<std::string> takeComplaints();
    /** Whether the manager's process would have ended in a request that is under way on this thread. */
    bool brokenDown() const;

    void setUpcallAnswer(const std::string& className, UpcallAnswer answer);
    void clearUpcallAnswers();
    std::optional<UpcallAnswer> upcallAnswer(const std::string& className) const;

    const Manners manners;
    std::atomic<bool> passesOnAsAsked{false};
    Classes classes;
    Tables tables;
    CMPIBroker record;
    CallLog log;
    CMPIInstanceMI* instanceMI = nullptr;
    CMPIAssociationMI* associationMI = nullptr;
    std::atomic<std::size_t> made{0};
    std::atomic<std::size_t> freed{0};

 private:
    struct Arena {
        unsigned sessions = 0;
        bool attached = false;
        bool brokenDown = false;
        std::vector<std::unique_ptr<Object>> objects;
    };

    void keep(std::unique_ptr<Object> object);

    mutable std::mutex mutex_;
    std::unordered_map<std::thread::id, Arena> arenas_;
    std::unordered_map<const void*, Object*> living_;
    std::vector<std::string> complaints_;  // each once
    std::map<std::string, UpcallAnswer> answers_;
};

/** One session of the thread that makes it. */
class Session {
 public:
    explicit Session(Core& core) : core_(core) { core.beginSession(); }
    ~Session() { core_.endSession(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

 private:
    Core& core_;
};

}  // namespace broker

#endif

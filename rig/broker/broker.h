#ifndef PCIINFO_BROKER_BROKER_H
#define PCIINFO_BROKER_BROKER_H

#include <cmpi/cmpift.h>

#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "broker/calllog.h"
#include "broker/classes.h"
#include "broker/manners.h"
#include "broker/objectmanager.h"
#include "cim/data.h"

namespace broker {

class Object;

/** A canned answer to an upcall, in place of the provider's own. */
struct UpcallAnswer {
    bool nullEnumeration = false;
    CMPIrc status = CMPI_RC_OK;
    /** Elements as they stand: an instance, a null of any type, or something else where an instance is expected. */
    std::vector<Value> elements;
};

/**
 * A CMPI object manager inside this process, with one provider. Requests may come from any number of threads at once,
 * each is served on its caller's thread; upcalls of the provider re-enter it on the same thread. Whatever the provider
 * makes or gets during a request (objects, strings, enumerations) lives until the outermost request of that thread
 * ends and is freed then.
 *
 * Objects behave as those of real object managers: character data is stored as a copy and reads back as CMPI_string;
 * names of properties and keys are compared without regard to case, the first spelling stays; newInstance copies the
 * path's keys into the instance with the key state; getProperty of a declared but unset property gives CMPI_RC_OK, its
 * type and the null state, of an unknown one CMPI_RC_ERR_NO_SUCH_PROPERTY (12) and the not-found state; getKey of an
 * unknown key gives CMPI_RC_ERR_NOT_FOUND (6); setElementAt refuses an element of another type than the array's, and
 * an index out of range, with CMPI_RC_ERR_FAILED (1), and leaves the element null; an array of size 0 grows, one
 * element at a time after its last; a null reference reads back as null. This is so under the standard manners; what
 * is different under others is in the table in broker/manners.h.
 *
 * Slots that our provider does not call are not served: they answer CMPI_RC_ERR_NOT_SUPPORTED and nothing else. The
 * table of threads and locks is null.
 */
class Broker : public CallLog, public ObjectManager {
 public:
    using CreateInstanceMI = CMPIInstanceMI* (*)(const CMPIBroker*, const CMPIContext*, CMPIStatus*);
    using CreateAssociationMI = CMPIAssociationMI* (*)(const CMPIBroker*, const CMPIContext*, CMPIStatus*);

    /** All but the standard manners want the provider's classes declared before it is asked, see declareClass. */
    explicit Broker(Manners manners = Manners::standard);
    ~Broker() override;
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;

    /** Takes the provider by its factories. Throws std::runtime_error when a factory gives no interface. */
    void attach(CreateInstanceMI instance, CreateAssociationMI association);
    /**
     * Loads the provider's library as object managers do (all symbols bound at once) and attaches the factories
     * NAME_Create_InstanceMI and NAME_Create_AssociationMI. Throws std::runtime_error with the loader's message.
     */
    void load(const std::string& library, const std::string& name = "PCIInfoProvider");

    const CMPIBroker* handle() const { return &record_; }
    CMPIInstanceMI* instanceMI() const { return instanceMI_; }
    CMPIAssociationMI* associationMI() const { return associationMI_; }

    /** Requests. Without a provider they are answered CMPI_RC_ERR_INVALID_CLASS. */
    Response enumerateInstanceNames(const ObjectPath& classPath) override;
    Response enumerateInstances(const ObjectPath& classPath) override;
    Response getInstance(const ObjectPath& path) override;
    Response createInstance(const ObjectPath& path, const Instance& instance);
    Response modifyInstance(const ObjectPath& path, const Instance& instance);
    Response deleteInstance(const ObjectPath& path);
    Response execQuery(const ObjectPath& classPath, const std::string& query, const std::string& language);
    Response associators(const ObjectPath& path, const Filters& filters) override;
    Response associatorNames(const ObjectPath& path, const Filters& filters) override;
    Response references(const ObjectPath& path, const Filters& filters) override;
    Response referenceNames(const ObjectPath& path, const Filters& filters) override;
    /** Both interfaces' cleanup, instance first; the first status that is not OK, else OK. */
    CMPIrc cleanup(bool terminating);

    /**
     * A stretch of this thread in which CMPI objects may be made without a request, for tests that call the product's
     * classes directly. Objects made meanwhile are freed when it ends; what is returned to result() is in response().
     */
    class Scope {
     public:
        explicit Scope(Broker& broker);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;
        const CMPIContext* context() const { return context_; }
        const CMPIResult* result() const { return result_; }
        CMPIObjectPath* make(const ObjectPath& path);
        CMPIInstance* make(const Instance& instance);
        CMPIEnumeration* makeEnumeration(const std::vector<Value>& elements);
        const Response& response() const;
        ObjectPath read(const CMPIObjectPath* path) const;
        Instance read(const CMPIInstance* instance) const;

     private:
        Broker& broker_;
        const CMPIContext* context_ = nullptr;
        const CMPIResult* result_ = nullptr;
    };

    Manners manners() const { return manners_; }

    /**
     * Declares a class, in place of one of that name: newInstance then holds its properties as nulls of their types.
     * Not while the provider is asked.
     */
    void declareClass(const ClassDeclaration& declaration) { classes_.add(declaration); }

    /**
     * Requests reach the provider once and as they are made, and all that it delivers is in the response, whatever the
     * manners are: for tests of what a provider does with requests that managers would not pass on. Off at first.
     */
    void passOnAsAsked(bool on) { passesOnAsAsked_ = on; }

    /**
     * What was refused by the manners, or was a reason for the manager to break down, each once: "FUNCTION: what", with
     * functions named as in CallLog. Where the manners are strict it is all that any manager would mind.
     */
    std::vector<std::string> complaints() const;
    /** The same; from then on there are none. */
    std::vector<std::string> takeComplaints();

    /** enumerateInstances upcalls for that class get this answer, every time. */
    void answerUpcall(const std::string& className, UpcallAnswer answer);

    /** Objects made and freed since the broker was made; equal whenever no request or Scope is under way. */
    std::size_t objectsMade() const { return made_; }
    std::size_t objectsFreed() const { return freed_; }

    /** The tables as the provider sees them, to set slots to null. They belong to this broker alone. */
    CMPIBroker& brokerRecord() { return record_; }
    CMPIBrokerFT& brokerTable() { return table<CMPIBrokerFT>(); }
    CMPIBrokerEncFT& encapsulationTable() { return table<CMPIBrokerEncFT>(); }
    CMPIResultFT& resultTable() { return table<CMPIResultFT>(); }
    CMPIObjectPathFT& objectPathTable() { return table<CMPIObjectPathFT>(); }
    CMPIInstanceFT& instanceTable() { return table<CMPIInstanceFT>(); }
    CMPIArrayFT& arrayTable() { return table<CMPIArrayFT>(); }
    CMPIEnumerationFT& enumerationTable() { return table<CMPIEnumerationFT>(); }
    CMPIStringFT& stringTable() { return table<CMPIStringFT>(); }
    CMPIContextFT& contextTable() { return table<CMPIContextFT>(); }

    // --- for the objects and the slots of this folder ---

    static Broker& of(const CMPIBroker* handle);

    /** The table of a kind of object, or of the broker. */
    template <typename Table>
    Table& table() {
        return std::get<Table>(tables_);
    }

    /**
     * Makes an object that lives until the session of this thread ends. Throws std::logic_error where the thread has
     * none: nobody would free the object.
     */
    template <typename T, typename... Arguments>
    T& make(Arguments&&... arguments) {
        auto object = std::make_unique<T>(*this, std::forward<Arguments>(arguments)...);
        T& result = *object;
        keep(result.handle(), std::move(object));
        return result;
    }
    /** The living object of this thread with a handle that a provider passed inside a value, or null. */
    Object* find(const void* handle) const;

    /**
     * Begin and end a stretch of this thread during which objects may be made. Sessions nest; what was made in any of
     * them is freed when the outermost ends.
     */
    void beginSession();
    void endSession();

    template <typename Behaviour>
    Behaviour behaviour(const manners::Row<Behaviour>& row) const {
        return row.of(manners_);
    }
    /** A behaviour towards clients, which is the standard one while requests are passed on as they are. */
    template <typename Behaviour>
    Behaviour dispatches(const manners::Row<Behaviour>& row) const {
        return passesOnAsAsked_ ? row.standard : row.of(manners_);
    }
    /**
     * The status of a call that does what the verdict is about; CMPI_RC_OK where it is taken or dropped. Everything but
     * taking it is complained of, and a fatal thing ends the requests of this thread.
     */
    CMPIrc judge(manners::Verdict verdict, const std::string& call, const std::string& what);
    /** Whether the manager's process would have ended in a request that is under way on this thread. */
    bool brokenDown() const;

    const Classes& classes() const { return classes_; }
    std::optional<UpcallAnswer> upcallAnswer(const std::string& className) const;

 private:
    struct CloseLibrary {
        void operator()(void* library) const;
    };
    /** What a thread has under way. */
    struct Arena {
        unsigned sessions = 0;
        bool brokenDown = false;
        std::unordered_map<const void*, std::unique_ptr<Object>> objects;  // by their handles
    };

    void keep(const void* handle, std::unique_ptr<Object> object);

    const Manners manners_;
    std::atomic<bool> passesOnAsAsked_{false};
    std::tuple<CMPIBrokerFT, CMPIBrokerEncFT, CMPIContextFT, CMPIResultFT, CMPIStringFT, CMPIArrayFT, CMPIEnumerationFT,
               CMPIInstanceFT, CMPIObjectPathFT>
        tables_;
    CMPIBroker record_;
    Classes classes_;
    std::vector<std::unique_ptr<void, CloseLibrary>> libraries_;
    CMPIInstanceMI* instanceMI_ = nullptr;
    CMPIAssociationMI* associationMI_ = nullptr;
    std::atomic<std::size_t> made_{0};
    std::atomic<std::size_t> freed_{0};

    mutable std::mutex mutex_;
    std::unordered_map<std::thread::id, Arena> arenas_;
    std::vector<std::string> complaints_;  // each once
    std::map<std::string, UpcallAnswer> answers_;
};

}  // namespace broker

#endif

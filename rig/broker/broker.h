#ifndef PCIINFO_BROKER_BROKER_H
#define PCIINFO_BROKER_BROKER_H

#include <cmpi/cmpidt.h>
#include <cmpi/cmpift.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "broker/manners.h"

namespace broker {

struct ObjectPath;
struct Instance;

/**
 * A CIM value as plain data, copied out of the object manager's objects: `type` is the CMPI type code as the provider
 * stored it (character data reads back as CMPI_string), `null` the null state. Integers of every width are held as
 * uint64 or sint64, reals as double.
 */
struct Value {
    CMPIType type = CMPI_null;
    bool null = true;
    std::variant<std::monostate, bool, std::uint64_t, std::int64_t, double, std::string, std::shared_ptr<ObjectPath>,
                 std::shared_ptr<Instance>, std::vector<Value>>
        data;

    static Value string(const std::string& text);
    static Value uint(CMPIType type, std::uint64_t number);
    static Value sint(CMPIType type, std::int64_t number);
    static Value real(CMPIType type, double number);
    static Value boolean(bool value);
    static Value reference(const ObjectPath& path);
    static Value instance(const Instance& instance);
    static Value nothing(CMPIType type);  // a null value of that type
    static Value array(CMPIType elementType, std::vector<Value> elements);

    bool operator==(const Value& other) const;
    bool operator!=(const Value& other) const { return !(*this == other); }
};

struct Property {
    std::string name;
    Value value;
    bool operator==(const Property& other) const { return name == other.name && value == other.value; }
};

struct ObjectPath {
    std::string nameSpace;
    std::string className;
    std::vector<Property> keys;  // in the order in which they were added

    const Value* key(const std::string& name) const;  // letter case is ignored; null when absent
    bool operator==(const ObjectPath& other) const;
};

struct Instance {
    ObjectPath path;
    std::vector<Property> properties;  // in the order in which they were first set, keys of the path included

    const Value* property(const std::string& name) const;  // letter case is ignored; null when absent
    bool operator==(const Instance& other) const { return path == other.path && properties == other.properties; }
};

/** "root/kavix:Class.Key=\"text\",Number=3"; references are nested and quoted. */
std::string toString(const ObjectPath& path);
/** The value alone: text without quotes, numbers in decimal, arrays as "1, 2", null as "NULL", paths as above. */
std::string toString(const Value& value);
/** The CIM name of a type: "uint8", "string", "uint16[]", "reference"... */
std::string typeName(CMPIType type);
/** The name of a return code: "CMPI_RC_OK", "CMPI_RC_ERR_INVALID_CLASS"...; "CMPI_RC_(n)" for an unknown one. */
std::string statusName(CMPIrc rc);
/**
 * Reads what toString writes (the namespace may be left out: "root/kavix" then). Throws std::invalid_argument with a
 * message that says what is wrong and where. Integers become uint64, or sint64 below zero; NULL becomes a null string;
 * quoted text is a reference where it is a whole path with namespace and keys.
 */
ObjectPath parseObjectPath(const std::string& text);

/** The filters of an association request; nullopt is a null pointer to the provider. */
struct Filters {
    std::optional<std::string> assocClass;
    std::optional<std::string> resultClass;
    std::optional<std::string> role;
    std::optional<std::string> resultRole;
};

/** A property as a schema declares it. */
struct PropertyDeclaration {
    std::string name;
    CMPIType type = CMPI_null;
    bool isKey = false;
    bool isInherited = false;
    std::string referenceClass = {};  // of references
};

/** A class as a schema declares it, with its superclasses' properties. */
struct ClassDeclaration {
    std::string name;
    std::vector<PropertyDeclaration> properties;
    std::string superclass = {};  // empty at the top
    bool isAbstract = false;
    bool isAssociation = false;

    const PropertyDeclaration* property(const std::string& propertyName) const;  // letter case is ignored
};

/** What the provider made of one request. */
struct Response {
    CMPIrc status = CMPI_RC_OK;
    bool hasMessage = false;
    std::vector<Instance> instances;
    std::vector<ObjectPath> paths;
    unsigned doneCalls = 0;              // how often returnDone was called ...
    std::size_t deliveredAfterDone = 0;  // ... and what was delivered after the first of them
    std::vector<Value> data;             // what came through returnData
};

/** One call that the provider made into the object manager, for tests that look at order and arguments. */
struct Call {
    std::string function;       // "eft.newInstance", "objectPath.addKey", "result.returnDone", see Broker::failAt
    std::string name;           // class, property or key name where the call has one
    CMPIType type = CMPI_null;  // the type code passed, where the call has one
    std::size_t index = 0;      // element index or array size, where the call has one
};

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
 * element at a time behind its last; a null reference reads back as null. This is so under the standard manners; what
 * is different under others is in the table in broker/manners.h.
 */
class Broker {
 public:
    using CreateInstanceMI = CMPIInstanceMI* (*)(const CMPIBroker*, const CMPIContext*, CMPIStatus*);
    using CreateAssociationMI = CMPIAssociationMI* (*)(const CMPIBroker*, const CMPIContext*, CMPIStatus*);

    /** All but the standard manners want the provider's classes declared before it is asked, see declareClass. */
    explicit Broker(Manners manners = Manners::standard);
    ~Broker();
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;

    /**
     * Takes the provider by its factories. Throws std::runtime_error when a factory gives none. A null factory stands
     * for an interface that the provider lacks: requests to it are answered CMPI_RC_ERR_INVALID_CLASS.
     */
    void attach(CreateInstanceMI instance, CreateAssociationMI association);
    /**
     * Loads the provider's library as object managers do (all symbols bound at once) and attaches the factories
     * NAME_Create_InstanceMI and NAME_Create_AssociationMI. Throws std::runtime_error with the loader's message.
     */
    void load(const std::string& library, const std::string& name = "PCIInfoProvider");

    const CMPIBroker* handle() const;
    CMPIInstanceMI* instanceMI() const;
    CMPIAssociationMI* associationMI() const;

    Response enumerateInstanceNames(const ObjectPath& classPath);
    Response enumerateInstances(const ObjectPath& classPath);
    Response getInstance(const ObjectPath& path);
    Response createInstance(const ObjectPath& path, const Instance& instance);
    Response modifyInstance(const ObjectPath& path, const Instance& instance);
    Response deleteInstance(const ObjectPath& path);
    Response execQuery(const ObjectPath& classPath, const std::string& query, const std::string& language);
    Response associators(const ObjectPath& path, const Filters& filters);
    Response associatorNames(const ObjectPath& path, const Filters& filters);
    Response references(const ObjectPath& path, const Filters& filters);
    Response referenceNames(const ObjectPath& path, const Filters& filters);
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
        const CMPIContext* context() const;
        const CMPIResult* result() const;
        CMPIObjectPath* make(const ObjectPath& path);
        CMPIInstance* make(const Instance& instance);
        CMPIEnumeration* makeEnumeration(const std::vector<Value>& elements);
        const Response& response() const;
        ObjectPath read(const CMPIObjectPath* path) const;
        Instance read(const CMPIInstance* instance) const;

     private:
        struct State;
        std::unique_ptr<State> state_;
    };

    Manners manners() const;

    /** Declares a class, in place of one of that name: newInstance then holds its properties as nulls of their types.
     */
    void declareClass(const ClassDeclaration& declaration);

    /**
     * Requests reach the provider once and as they are made, and all that it delivers is in the response, whatever the
     * manners are: for tests of what a provider does with requests that managers would not pass on. Off at first.
     */
    void passOnAsAsked(bool on);

    /**
     * What was refused by the manners, or was a reason for the manager to break down, each once: "FUNCTION: what", with
     * functions named as below. Where the manners are strict it is all that any manager would mind.
     */
    std::vector<std::string> complaints() const;
    /** The same; from then on there are none. */
    std::vector<std::string> takeComplaints();

    /** enumerateInstances upcalls for that class get this answer, every time, until it is cleared. */
    void answerUpcall(const std::string& className, UpcallAnswer answer);
    void clearUpcallAnswers();

    /**
     * Faults. Functions are named TABLE.SLOT: tables bft, eft, result, objectPath, instance, array, enumeration,
     * string, context; slots as the table declares them, e.g. "bft.enumerateInstances", "eft.newObjectPath",
     * "objectPath.getKey", "array.setElementAt". "*" stands for every one of them. The nth call (from 1, counted from
     * this moment) fails as a real object manager's would - null object, error status, not-found data - or throws:
     * a std::runtime_error, or an int where `standard` is false.
     */
    void failAt(const std::string& function, unsigned nth, CMPIrc rc = CMPI_RC_ERR_FAILED);
    void throwAt(const std::string& function, unsigned nth, bool standard = true);
    void clearFaults();
    /** Every name that failAt and throwAt take, "*" left out. They throw std::invalid_argument for another. */
    static const std::vector<std::string>& functions();
    /** Whether the fault that was set last has struck. */
    bool faultStruck() const;

    /** The calls made by the provider since the last clearCalls(), all threads, in order. */
    std::vector<Call> calls() const;
    void clearCalls();
    /** On at first. A long run without need of the record switches it off, as it grows with every call. */
    void recordCalls(bool on);

    /** Objects made and freed since the broker was made; equal whenever no request or Scope is under way. */
    std::size_t objectsMade() const;
    std::size_t objectsFreed() const;

    /** The tables as the provider sees them, to set slots to null. They belong to this broker alone. */
    CMPIBroker& brokerRecord();
    CMPIBrokerFT& brokerTable();
    CMPIBrokerEncFT& encapsulationTable();
    CMPIResultFT& resultTable();
    CMPIObjectPathFT& objectPathTable();
    CMPIInstanceFT& instanceTable();
    CMPIArrayFT& arrayTable();
    CMPIEnumerationFT& enumerationTable();
    CMPIStringFT& stringTable();
    CMPIContextFT& contextTable();

 private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace broker

#endif

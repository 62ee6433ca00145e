#ifndef PCIINFO_BROKER_OBJECTS_H
#define PCIINFO_BROKER_OBJECTS_H

#include <cmpi/cmpift.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "broker/broker.h"

namespace broker {

/** An object that a provider knows by its handle. It belongs to a session. */
class Object {
 public:
    explicit Object(Broker& owner) : broker(owner) {}
    virtual ~Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    Broker& broker;
};

/** What is behind a handle of CMPI: its data, and the table of its kind. */
template <typename HandleType, typename Data>
class Handled : public Object {
 public:
    using Handle = HandleType;
    using Table = std::remove_const_t<std::remove_pointer_t<decltype(Handle::ft)>>;

    explicit Handled(Broker& owner, Data contents = {})
        : Object(owner), data(std::move(contents)), handle_{static_cast<Object*>(this), &owner.table<Table>()} {}

    Handle* handle() { return &handle_; }
    // Handles are const by the interface; what is behind ours is not.
    static Handled& of(const Handle* handle) {
        return *static_cast<Handled*>(static_cast<Object*>(const_cast<void*>(handle->hdl)));
    }

    Data data;

 private:
    Handle handle_;
};

struct ArrayData {
    CMPIType elementType = CMPI_null;
    bool grows = false;  // made with size 0
    std::vector<Value> elements;
};

struct EnumerationData {
    std::vector<Value> elements;
    std::size_t next = 0;
};

struct ResultData {
    Response response;
    bool ofGet = false;  // one instance is wanted
};

struct ContextData {};

using StringObject = Handled<CMPIString, std::string>;
using ArrayObject = Handled<CMPIArray, ArrayData>;
using EnumerationObject = Handled<CMPIEnumeration, EnumerationData>;
using PathObject = Handled<CMPIObjectPath, ObjectPath>;
using InstanceObject = Handled<CMPIInstance, Instance>;
using ContextObject = Handled<CMPIContext, ContextData>;
using ResultObject = Handled<CMPIResult, ResultData>;

/** One session of the thread that makes it. */
class Session {
 public:
    explicit Session(Broker& broker) : broker_(broker) { broker_.beginSession(); }
    ~Session() { broker_.endSession(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

 private:
    Broker& broker_;
};

}  // namespace broker

#endif

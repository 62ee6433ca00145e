#ifndef PCIINFO_BROKER_OBJECTS_H
#define PCIINFO_BROKER_OBJECTS_H

#include <cmpi/cmpift.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "broker/broker.h"
#include "broker/core.h"

namespace broker {

/** An object that a provider knows by its handle. It belongs to a session, or to the caller of clone. */
class Object {
 public:
    explicit Object(Core& owner) : core(owner) {}
    virtual ~Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    virtual const char* cmpiName() const = 0;  // the name of its C type
    virtual std::string text() const = 0;

    Core& core;
    bool belongsToCaller = false;
};

/** Gives an object its handle. Self has the members `data` (all that clone copies), `table` and `tableName`. */
template <class Self, class HandleType>
class Handled : public Object {
 public:
    using Handle = HandleType;

    explicit Handled(Core& owner) : Object(owner), handle_{static_cast<Object*>(this), &(owner.tables.*Self::table)} {
        core.add(&handle_, this);
    }
    ~Handled() override { core.remove(&handle_); }

    Handle* handle() { return &handle_; }
    // Handles are const by the interface; what is behind ours is not.
    static Self& of(const Handle* handle) {
        return *static_cast<Self*>(static_cast<Object*>(const_cast<void*>(handle->hdl)));
    }

 private:
    Handle handle_;
};

class StringObject : public Handled<StringObject, CMPIString> {
 public:
    StringObject(Core& owner, std::string text) : Handled(owner), data(std::move(text)) {}
    const char* cmpiName() const override { return "CMPIString"; }
    std::string text() const override { return data; }

    static constexpr auto table = &Tables::string;
    static constexpr const char* tableName = "string";
    std::string data;
};

struct ArrayData {
    CMPIType elementType = CMPI_null;
    bool grows = false;  // made with size 0
    std::vector<Value> elements;
};

class ArrayObject : public Handled<ArrayObject, CMPIArray> {
 public:
    ArrayObject(Core& owner, ArrayData array) : Handled(owner), data(std::move(array)) {}
    const char* cmpiName() const override { return "CMPIArray"; }
    std::string text() const override { return toString(Value::array(data.elementType, data.elements)); }

    static constexpr auto table = &Tables::array;
    static constexpr const char* tableName = "array";
    ArrayData data;
};

struct EnumerationData {
    std::vector<Value> elements;
    std::size_t next = 0;
};

class EnumerationObject : public Handled<EnumerationObject, CMPIEnumeration> {
 public:
    EnumerationObject(Core& owner, EnumerationData enumeration) : Handled(owner), data(std::move(enumeration)) {}
    const char* cmpiName() const override { return "CMPIEnumeration"; }
    std::string text() const override { return toString(Value::array(CMPI_instance, data.elements)); }

    static constexpr auto table = &Tables::enumeration;
    static constexpr const char* tableName = "enumeration";
    EnumerationData data;
};

struct PathData {
    ObjectPath path;
    std::string hostName;
};

class PathObject : public Handled<PathObject, CMPIObjectPath> {
 public:
    PathObject(Core& owner, PathData path) : Handled(owner), data(std::move(path)) {}
    PathObject(Core& owner, ObjectPath path) : PathObject(owner, PathData{std::move(path), ""}) {}
    const char* cmpiName() const override { return "CMPIObjectPath"; }
    std::string text() const override { return toString(data.path); }

    static constexpr auto table = &Tables::objectPath;
    static constexpr const char* tableName = "objectPath";
    PathData data;
};

struct InstanceData {
    Instance instance;
    std::optional<std::vector<std::string>> filter;  // names that may be set; nullopt: all
};

class InstanceObject : public Handled<InstanceObject, CMPIInstance> {
 public:
    InstanceObject(Core& owner, InstanceData instance) : Handled(owner), data(std::move(instance)) {}
    InstanceObject(Core& owner, Instance instance) : InstanceObject(owner, InstanceData{std::move(instance), {}}) {}
    const char* cmpiName() const override { return "CMPIInstance"; }
    std::string text() const override { return toString(data.instance.path); }

    static constexpr auto table = &Tables::instance;
    static constexpr const char* tableName = "instance";
    InstanceData data;
};

class ContextObject : public Handled<ContextObject, CMPIContext> {
 public:
    ContextObject(Core& owner, std::vector<Property> entries) : Handled(owner), data(std::move(entries)) {}
    /** With the entries that a request begins with. */
    explicit ContextObject(Core& owner);
    const char* cmpiName() const override { return "CMPIContext"; }
    std::string text() const override { return cmpiName(); }

    static constexpr auto table = &Tables::context;
    static constexpr const char* tableName = "context";
    std::vector<Property> data;
};

class ResultObject : public Handled<ResultObject, CMPIResult> {
 public:
    explicit ResultObject(Core& owner, Response response = {}) : Handled(owner), data(std::move(response)) {}
    const char* cmpiName() const override { return "CMPIResult"; }
    std::string text() const override { return cmpiName(); }

    static constexpr auto table = &Tables::result;
    static constexpr const char* tableName = "result";
    Response data;
    bool ofGet = false;  // one instance is wanted
};

/** Sets a status that the caller may not want. */
inline void setStatus(CMPIStatus* rc, CMPIrc code) {
    if (rc != nullptr) *rc = {code, nullptr};
}

/** What a function that returns a pointer, number or truth value answers where it fails: nothing of it. */
template <class Result>
Result failed(CMPIStatus* rc, CMPIrc code) {
    setStatus(rc, code);
    return Result();
}

/** What a function that returns data answers where there is none. */
inline CMPIData noData(CMPIStatus* rc, CMPIrc code) {
    setStatus(rc, code);
    CMPIData data{};
    data.state = CMPI_notFound;
    return data;
}

/** Makes an object in this thread's session and answers with its handle. */
template <class T, class... Args>
typename T::Handle* answer(Core& core, CMPIStatus* rc, Args&&... args) {
    setStatus(rc, CMPI_RC_OK);
    return core.make<T>(std::forward<Args>(args)...).handle();
}

inline std::string textOf(const char* text) {
    return text == nullptr ? "" : text;
}

/** The value with that name, replaced where it is there already (the first spelling stays), else added. */
void setNamed(std::vector<Property>& properties, const std::string& name, Value value);

/** The value with that name in a list of properties, keys or entries; null when absent. */
const Value* findNamed(const std::vector<Property>& properties, const std::string& name);

/** Has the instance's path follow its key properties, where the manners and a declaration of its class want it. */
void followKeys(const Core& core, Instance& instance);

/** A slot getXxxAt: the value at an index and its name. `state` is added to the state of the value. */
CMPIData dataAt(Core& core, const std::vector<Property>& properties, CMPICount index, CMPIValueState state,
                CMPIString** name, CMPIStatus* rc);

/** The slots release and clone of every table. */
template <class T>
CMPIStatus release(typename T::Handle* self) {
    T& object = T::of(self);
    const std::string function = std::string(T::tableName) + ".release";
    if (const auto fault = object.core.enter(function.c_str())) return {*fault, nullptr};
    if (!object.belongsToCaller) {  // its session frees it
        return {object.core.judge(object.core.behaviour(manners::kReleaseOfManagersOwn), function,
                                  "an object that the object manager owns"),
                nullptr};
    }
    delete &object;
    return {CMPI_RC_OK, nullptr};
}

template <class T>
typename T::Handle* clone(const typename T::Handle* self, CMPIStatus* rc) {
    const T& object = T::of(self);
    const std::string function = std::string(T::tableName) + ".clone";
    if (const auto fault = object.core.enter(function.c_str())) return failed<typename T::Handle*>(rc, *fault);
    auto copy = std::make_unique<T>(object.core, object.data);
    copy->belongsToCaller = true;
    setStatus(rc, CMPI_RC_OK);
    return copy.release()->handle();
}

}  // namespace broker

#endif

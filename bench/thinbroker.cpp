// The object manager that requests are measured under. bench/counts.py compares its answers with those of the rig's.
#include "bench/thinbroker.h"

#include <dlfcn.h>
#include <strings.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "bench/arena.h"

namespace bench {

namespace {

/** A key or property; CMPI_chars are copied, everything else is what the caller gave. */
struct Field {
    const char* name;
    Field* next;
    CMPIData data;
};

/** Any object: what CMPI sees of it comes first, a handle and a function table. */
struct Object {
    const void* handle;
    const void* table;
    Object* next;      // in an enumeration
    const char* text;  // a string's characters, a path's class name
    const CMPIObjectPath* path;
    Field* fields;
    Field** lastField;
};

/** Where the objects of a request go: they are counted, or kept for the enumeration that an upcall gives. */
struct Sink {
    std::size_t count = 0;
    bool keeps = false;
    char* recycle = nullptr;  // where memory is taken back to after each object; null: it is not
    Object* first = nullptr;
    Object** last = &first;
};

struct Running {
    Arena arena;
    Delivered delivered;
};

thread_local Running running;

const CMPIBroker& theBroker();

void called() {
    ++running.delivered.calls;
}

void succeed(CMPIStatus* status) {
    if (status != nullptr) *status = {CMPI_RC_OK, nullptr};
}

constexpr CMPIStatus kOk = {CMPI_RC_OK, nullptr};

Object* make(const void* table) {
    auto* object = static_cast<Object*>(running.arena.take(sizeof(Object)));
    *object = {object, table, nullptr, nullptr, nullptr, nullptr, nullptr};
    object->lastField = &object->fields;
    return object;
}

template <typename Cmpi>
Object* of(const Cmpi* object) {
    return const_cast<Object*>(static_cast<const Object*>(object->hdl));
}

template <typename Cmpi>
Cmpi* as(Object* object) {
    return reinterpret_cast<Cmpi*>(object);
}

void add(Object* object, const char* name, const CMPIValue* value, CMPIType type) {
    auto* field = static_cast<Field*>(running.arena.take(sizeof(Field)));
    field->name = running.arena.copy(name);
    field->next = nullptr;
    field->data.type = type;
    field->data.state = CMPI_goodValue;
    if (type == CMPI_chars) {
        field->data.value.chars = running.arena.copy(reinterpret_cast<const char*>(value));
    } else {
        field->data.value = *value;
    }
    *object->lastField = field;
    object->lastField = &field->next;
}

CMPIData find(const Object* object, const char* name, CMPIStatus* status) {
    for (const Field* field = object->fields; field != nullptr; field = field->next) {
        if (strcasecmp(field->name, name) != 0) continue;
        succeed(status);
        return field->data;
    }
    if (status != nullptr) *status = {CMPI_RC_ERR_NO_SUCH_PROPERTY, nullptr};
    CMPIData nothing{};
    nothing.state = CMPI_nullValue | CMPI_notFound;
    return nothing;
}

// --- function tables: the slots that the provider calls ---

const CMPIStringFT& stringTable() {
    static const CMPIStringFT kTable = [] {
        CMPIStringFT table{};
        table.getCharPtr = [](const CMPIString* self, CMPIStatus* status) {
            called();
            succeed(status);
            return of(self)->text;
        };
        return table;
    }();
    return kTable;
}

const CMPIArrayFT& arrayTable() {
    static const CMPIArrayFT kTable = [] {
        CMPIArrayFT table{};
        table.setElementAt = [](const CMPIArray* self, CMPICount, const CMPIValue* value, CMPIType type) {
            called();
            add(of(self), "", value, type);
            return kOk;
        };
        return table;
    }();
    return kTable;
}

CMPIString* newString(const char* text) {
    Object* string = make(&stringTable());
    string->text = running.arena.copy(text);
    return as<CMPIString>(string);
}

const CMPIObjectPathFT& pathTable() {
    static const CMPIObjectPathFT kTable = [] {
        CMPIObjectPathFT table{};
        table.getClassName = [](const CMPIObjectPath* self, CMPIStatus* status) {
            called();
            succeed(status);
            return newString(of(self)->text);
        };
        table.addKey = [](const CMPIObjectPath* self, const char* name, const CMPIValue* value, CMPIType type) {
            called();
            add(of(self), name, value, type);
            return kOk;
        };
        table.getKey = [](const CMPIObjectPath* self, const char* name, CMPIStatus* status) {
            called();
            return find(of(self), name, status);
        };
        return table;
    }();
    return kTable;
}

const CMPIInstanceFT& instanceTable() {
    static const CMPIInstanceFT kTable = [] {
        CMPIInstanceFT table{};
        table.getProperty = [](const CMPIInstance* self, const char* name, CMPIStatus* status) {
            called();
            return find(of(self), name, status);
        };
        table.setProperty = [](const CMPIInstance* self, const char* name, const CMPIValue* value, CMPIType type) {
            called();
            add(of(self), name, value, type);
            return kOk;
        };
        table.getObjectPath = [](const CMPIInstance* self, CMPIStatus* status) {
            called();
            succeed(status);
            return const_cast<CMPIObjectPath*>(of(self)->path);
        };
        return table;
    }();
    return kTable;
}

const CMPIEnumerationFT& enumerationTable() {
    static const CMPIEnumerationFT kTable = [] {
        CMPIEnumerationFT table{};
        table.hasNext = [](const CMPIEnumeration* self, CMPIStatus* status) {
            called();
            succeed(status);
            return static_cast<CMPIBoolean>(of(self)->next != nullptr);
        };
        table.getNext = [](const CMPIEnumeration* self, CMPIStatus* status) {
            called();
            succeed(status);
            CMPIData data{};
            Object* element = of(self)->next;
            if (element == nullptr) return data;
            of(self)->next = element->next;
            data.type = CMPI_instance;
            data.value.inst = as<CMPIInstance>(element);
            return data;
        };
        return table;
    }();
    return kTable;
}

CMPIStatus deliver(const CMPIResult* self, Object* object) {
    called();
    auto* sink = static_cast<Sink*>(const_cast<void*>(self->hdl));
    ++sink->count;
    if (sink->keeps) {
        *sink->last = object;
        sink->last = &object->next;
    }
    if (sink->recycle != nullptr) running.arena.backTo(sink->recycle);
    return kOk;
}

const CMPIResultFT& resultTable() {
    static const CMPIResultFT kTable = [] {
        CMPIResultFT table{};
        table.returnInstance = [](const CMPIResult* self, const CMPIInstance* instance) {
            return deliver(self, of(instance));
        };
        table.returnObjectPath = [](const CMPIResult* self, const CMPIObjectPath* path) {
            return deliver(self, of(path));
        };
        table.returnDone = [](const CMPIResult*) {
            called();
            return kOk;
        };
        return table;
    }();
    return kTable;
}

Object* makePath(const char* className) {
    Object* path = make(&pathTable());
    path->text = running.arena.copy(className);
    return path;
}

const CMPIBrokerEncFT& makers() {
    static const CMPIBrokerEncFT kTable = [] {
        CMPIBrokerEncFT table{};
        table.newInstance = [](const CMPIBroker*, const CMPIObjectPath* path, CMPIStatus* status) {
            called();
            succeed(status);
            Object* instance = make(&instanceTable());
            instance->path = path;
            return as<CMPIInstance>(instance);
        };
        table.newObjectPath = [](const CMPIBroker*, const char*, const char* className, CMPIStatus* status) {
            called();
            succeed(status);
            return as<CMPIObjectPath>(makePath(className));
        };
        table.newString = [](const CMPIBroker*, const char* text, CMPIStatus* status) {
            called();
            succeed(status);
            return newString(text);
        };
        table.newArray = [](const CMPIBroker*, CMPICount, CMPIType, CMPIStatus* status) {
            called();
            succeed(status);
            return as<CMPIArray>(make(&arrayTable()));
        };
        return table;
    }();
    return kTable;
}

/** Set once, when the library is loaded. */
CMPIInstanceMI* servingUpcalls = nullptr;

const CMPIBrokerFT& services() {
    static const CMPIBrokerFT kTable = [] {
        CMPIBrokerFT table{};
        table.enumerateInstances = [](const CMPIBroker*, const CMPIContext* context, const CMPIObjectPath* path,
                                      const char**, CMPIStatus* status) {
            called();
            ++running.delivered.upcalls;
            Sink sink;
            sink.keeps = true;
            const CMPIResult result = {&sink, &resultTable()};
            const CMPIStatus answer =
                servingUpcalls->ft->enumerateInstances(servingUpcalls, context, &result, path, nullptr);
            if (status != nullptr) *status = answer;
            Object* enumeration = make(&enumerationTable());
            enumeration->next = sink.first;
            return as<CMPIEnumeration>(enumeration);
        };
        return table;
    }();
    return kTable;
}

const CMPIBroker& theBroker() {
    static const CMPIBroker kBroker = {nullptr, &services(), &makers(), nullptr};
    return kBroker;
}

CMPIContext* theContext() {
    static const CMPIContextFT kTable = {};
    static CMPIContext context = {nullptr, &kTable};
    return &context;
}

const char* textOrNull(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
}

/** Whether the provider keeps nothing of what it has delivered. */
bool keepsNothing(const std::string& className) {
    for (const char* name : {"QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_SystemSlot", "QELTA_SystemBoard"}) {
        if (className == name) return true;
    }
    return false;
}

template <typename Interface>
Interface* factory(void* library, const char* name) {
    using Factory = Interface* (*)(const CMPIBroker*, const CMPIContext*, CMPIStatus*);
    const auto create = reinterpret_cast<Factory>(dlsym(library, name));
    if (create == nullptr) throw std::runtime_error(std::string("no factory ") + name);
    CMPIStatus status = kOk;
    return create(&theBroker(), theContext(), &status);
}

}  // namespace

ThinBroker::ThinBroker(const std::string& library) {
    void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) throw std::runtime_error("cannot load " + library);
    instances_ = factory<CMPIInstanceMI>(handle, "PCIInfoProvider_Create_InstanceMI");
    associations_ = factory<CMPIAssociationMI>(handle, "PCIInfoProvider_Create_AssociationMI");
    servingUpcalls = instances_;
}

Delivered ThinBroker::ask(const Question& question) const {
    using Kind = Question::Kind;
    running.delivered = {};
    Object* source = makePath(question.className.c_str());
    char* const begin = reinterpret_cast<char*>(source);
    if (!question.keyName.empty())
        add(source, question.keyName.c_str(), reinterpret_cast<const CMPIValue*>(question.keyValue.c_str()),
            CMPI_chars);
    Sink sink;
    const bool instances = question.kind <= Kind::get;
    if (instances && keepsNothing(question.className)) sink.recycle = running.arena.mark();
    const CMPIResult result = {&sink, &resultTable()};
    const auto* path = as<CMPIObjectPath>(source);
    const CMPIContext* context = theContext();
    const char* assoc = textOrNull(question.assocClass);
    const char* wanted = textOrNull(question.resultClass);
    const CMPIInstanceMIFT& i = *instances_->ft;
    const CMPIAssociationMIFT& a = *associations_->ft;
    CMPIStatus status = kOk;
    switch (question.kind) {
        case Kind::enumerate:
            status = i.enumerateInstances(instances_, context, &result, path, nullptr);
            break;
        case Kind::enumerateNames:
            status = i.enumerateInstanceNames(instances_, context, &result, path);
            break;
        case Kind::get:
            status = i.getInstance(instances_, context, &result, path, nullptr);
            break;
        case Kind::associators:
            status = a.associators(associations_, context, &result, path, assoc, wanted, nullptr, nullptr, nullptr);
            break;
        case Kind::associatorNames:
            status = a.associatorNames(associations_, context, &result, path, assoc, wanted, nullptr, nullptr);
            break;
        case Kind::references:
            status = a.references(associations_, context, &result, path, wanted, nullptr, nullptr);
            break;
        case Kind::referenceNames:
            status = a.referenceNames(associations_, context, &result, path, wanted, nullptr);
            break;
    }
    running.arena.backTo(begin);
    Delivered delivered = running.delivered;
    delivered.status = status.rc;
    delivered.objects = sink.count;
    return delivered;
}

}  // namespace bench

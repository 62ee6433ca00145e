#ifndef _CMPIFT_H_
#define _CMPIFT_H_

/*
 * Objects and function tables of the Common Manageability Programming Interface, version 100: no member that a later
 * version added. The order of the slots is the interface; their names are those of version 200 and later, so tables
 * that have to compile against older declarations are filled by position.
 */

#include "cmpidt.h"
#include "cmpios.h"

#ifdef __cplusplus
extern "C" {
#endif

struct timespec;

struct _CMPIBroker {
    const void* hdl;
    const CMPIBrokerFT* bft;
    const CMPIBrokerEncFT* eft;
    const CMPIBrokerExtFT* xft;
};

struct _CMPIContext {
    const void* hdl;
    const CMPIContextFT* ft;
};

struct _CMPIResult {
    const void* hdl;
    const CMPIResultFT* ft;
};

struct _CMPIString {
    const void* hdl;
    const CMPIStringFT* ft;
};

struct _CMPIArray {
    const void* hdl;
    const CMPIArrayFT* ft;
};

struct _CMPIEnumeration {
    const void* hdl;
    const CMPIEnumerationFT* ft;
};

struct _CMPIInstance {
    const void* hdl;
    const CMPIInstanceFT* ft;
};

struct _CMPIObjectPath {
    const void* hdl;
    const CMPIObjectPathFT* ft;
};

struct _CMPIArgs {
    const void* hdl;
    const CMPIArgsFT* ft;
};

struct _CMPIDateTime {
    const void* hdl;
    const CMPIDateTimeFT* ft;
};

struct _CMPISelectExp {
    const void* hdl;
    const CMPISelectExpFT* ft;
};

struct _CMPISelectCond {
    const void* hdl;
    const CMPISelectCondFT* ft;
};

struct _CMPISubCond {
    const void* hdl;
    const CMPISubCondFT* ft;
};

struct _CMPIPredicate {
    const void* hdl;
    const CMPIPredicateFT* ft;
};

struct _CMPIInstanceMI {
    const void* hdl;
    const CMPIInstanceMIFT* ft;
};

struct _CMPIAssociationMI {
    const void* hdl;
    const CMPIAssociationMIFT* ft;
};

struct _CMPIMethodMI {
    const void* hdl;
    const CMPIMethodMIFT* ft;
};

struct _CMPIPropertyMI {
    const void* hdl;
    const CMPIPropertyMIFT* ft;
};

struct _CMPIIndicationMI {
    const void* hdl;
    const CMPIIndicationMIFT* ft;
};

/* Services of the object manager: requests to any provider, itself included. Strings, lists and rc may be null. */
struct _CMPIBrokerFT {
    unsigned int brokerCapabilities;
    CMPIVersion brokerVersion;
    const char* brokerName;
    CMPIContext* (*prepareAttachThread)(const CMPIBroker* mb, const CMPIContext* ctx);
    CMPIStatus (*attachThread)(const CMPIBroker* mb, const CMPIContext* ctx);
    CMPIStatus (*detachThread)(const CMPIBroker* mb, const CMPIContext* ctx);
    CMPIStatus (*deliverIndication)(const CMPIBroker* mb, const CMPIContext* ctx, const char* ns,
                                    const CMPIInstance* ind);
    CMPIEnumeration* (*enumerateInstanceNames)(const CMPIBroker* mb, const CMPIContext* ctx,
                                               const CMPIObjectPath* classPath, CMPIStatus* rc);
    CMPIInstance* (*getInstance)(const CMPIBroker* mb, const CMPIContext* ctx, const CMPIObjectPath* instPath,
                                 const char** properties, CMPIStatus* rc);
    CMPIObjectPath* (*createInstance)(const CMPIBroker* mb, const CMPIContext* ctx, const CMPIObjectPath* classPath,
                                      const CMPIInstance* newInst, CMPIStatus* rc);
    CMPIStatus (*modifyInstance)(const CMPIBroker* mb, const CMPIContext* ctx, const CMPIObjectPath* instPath,
                                 const CMPIInstance* modInst, const char** properties);
    CMPIStatus (*deleteInstance)(const CMPIBroker* mb, const CMPIContext* ctx, const CMPIObjectPath* instPath);
    CMPIEnumeration* (*execQuery)(const CMPIBroker* mb, const CMPIContext* ctx, const CMPIObjectPath* classPath,
                                  const char* query, const char* lang, CMPIStatus* rc);
    CMPIEnumeration* (*enumerateInstances)(const CMPIBroker* mb, const CMPIContext* ctx,
                                           const CMPIObjectPath* classPath, const char** properties, CMPIStatus* rc);
    CMPIEnumeration* (*associators)(const CMPIBroker* mb, const CMPIContext* ctx, const CMPIObjectPath* instPath,
                                    const char* assocClass, const char* resultClass, const char* role,
                                    const char* resultRole, const char** properties, CMPIStatus* rc);
    CMPIEnumeration* (*associatorNames)(const CMPIBroker* mb, const CMPIContext* ctx, const CMPIObjectPath* instPath,
                                        const char* assocClass, const char* resultClass, const char* role,
                                        const char* resultRole, CMPIStatus* rc);
    CMPIEnumeration* (*references)(const CMPIBroker* mb, const CMPIContext* ctx, const CMPIObjectPath* instPath,
                                   const char* resultClass, const char* role, const char** properties, CMPIStatus* rc);
    CMPIEnumeration* (*referenceNames)(const CMPIBroker* mb, const CMPIContext* ctx, const CMPIObjectPath* instPath,
                                       const char* resultClass, const char* role, CMPIStatus* rc);
    CMPIData (*invokeMethod)(const CMPIBroker* mb, const CMPIContext* ctx, const CMPIObjectPath* objPath,
                             const char* method, const CMPIArgs* in, CMPIArgs* out, CMPIStatus* rc);
    CMPIStatus (*setProperty)(const CMPIBroker* mb, const CMPIContext* ctx, const CMPIObjectPath* instPath,
                              const char* name, const CMPIValue* value, CMPIType type);
    CMPIData (*getProperty)(const CMPIBroker* mb, const CMPIContext* ctx, const CMPIObjectPath* instPath,
                            const char* name, CMPIStatus* rc);
};

/* Makers of objects. What they return belongs to the object manager and lives until the request ends. */
struct _CMPIBrokerEncFT {
    CMPIVersion ftVersion;
    CMPIInstance* (*newInstance)(const CMPIBroker* mb, const CMPIObjectPath* instPath, CMPIStatus* rc);
    CMPIObjectPath* (*newObjectPath)(const CMPIBroker* mb, const char* ns, const char* cn, CMPIStatus* rc);
    CMPIArgs* (*newArgs)(const CMPIBroker* mb, CMPIStatus* rc);
    CMPIString* (*newString)(const CMPIBroker* mb, const char* data, CMPIStatus* rc);
    CMPIArray* (*newArray)(const CMPIBroker* mb, CMPICount size, CMPIType type, CMPIStatus* rc);
    CMPIDateTime* (*newDateTime)(const CMPIBroker* mb, CMPIStatus* rc);
    CMPIDateTime* (*newDateTimeFromBinary)(const CMPIBroker* mb, CMPIUint64 binTime, CMPIBoolean interval,
                                           CMPIStatus* rc);
    CMPIDateTime* (*newDateTimeFromChars)(const CMPIBroker* mb, const char* datetime, CMPIStatus* rc);
    CMPISelectExp* (*newSelectExp)(const CMPIBroker* mb, const char* query, const char* lang, CMPIArray** projection,
                                   CMPIStatus* rc);
    CMPIBoolean (*classPathIsA)(const CMPIBroker* mb, const CMPIObjectPath* classPath, const char* className,
                                CMPIStatus* rc);
    CMPIString* (*toString)(const CMPIBroker* mb, const void* object, CMPIStatus* rc);
    CMPIBoolean (*isOfType)(const CMPIBroker* mb, const void* object, const char* type, CMPIStatus* rc);
    CMPIString* (*getType)(const CMPIBroker* mb, const void* object, CMPIStatus* rc);
    CMPIString* (*getMessage)(const CMPIBroker* mb, const char* msgId, const char* defMsg, CMPIStatus* rc,
                              CMPICount count, ...);
    CMPIStatus (*logMessage)(const CMPIBroker* mb, CMPISeverity severity, const char* id, const char* text,
                             const CMPIString* string);
    CMPIStatus (*trace)(const CMPIBroker* mb, CMPILevel level, const char* component, const char* text,
                        const CMPIString* string);
};

/* Threads, mutexes and conditions. Slots may be null in an object manager. */
struct _CMPIBrokerExtFT {
    CMPIVersion ftVersion;
    char* (*resolveFileName)(const char* libName);
    void* (*newThread)(CMPIThreadFunc start, void* parm, int detached);
    int (*joinThread)(void* thread, void** retval);
    int (*exitThread)(void* return_code);
    int (*cancelThread)(void* thread);
    int (*threadSleep)(CMPIUint32 msec);
    int (*threadOnce)(int* once, CMPIThreadOnceFunc function);
    int (*createThreadKey)(CMPI_THREAD_KEY_TYPE* key, CMPIThreadKeyCleanupFunc cleanup);
    int (*destroyThreadKey)(CMPI_THREAD_KEY_TYPE key);
    void* (*getThreadSpecific)(CMPI_THREAD_KEY_TYPE key);
    int (*setThreadSpecific)(CMPI_THREAD_KEY_TYPE key, void* value);
    void* (*newMutex)(int opt);
    void (*destroyMutex)(void* mutex);
    void (*lockMutex)(void* mutex);
    void (*unlockMutex)(void* mutex);
    void* (*newCondition)(int opt);
    void (*destroyCondition)(void* cond);
    int (*condWait)(void* cond, void* mutex);
    int (*timedCondWait)(void* cond, void* mutex, struct timespec* wait);
    int (*signalCondition)(void* cond);
};

struct _CMPIContextFT {
    CMPIVersion ftVersion;
    CMPIStatus (*release)(CMPIContext* self);
    CMPIContext* (*clone)(const CMPIContext* self, CMPIStatus* rc);
    CMPIData (*getEntry)(const CMPIContext* self, const char* name, CMPIStatus* rc);
    CMPIData (*getEntryAt)(const CMPIContext* self, CMPICount index, CMPIString** name, CMPIStatus* rc);
    CMPICount (*getEntryCount)(const CMPIContext* self, CMPIStatus* rc);
    CMPIStatus (*addEntry)(const CMPIContext* self, const char* name, const CMPIValue* value, CMPIType type);
};

/* Where a provider delivers what it was asked for. returnData takes results of methods and properties only. */
struct _CMPIResultFT {
    CMPIVersion ftVersion;
    CMPIStatus (*release)(CMPIResult* self);
    CMPIResult* (*clone)(const CMPIResult* self, CMPIStatus* rc);
    CMPIStatus (*returnData)(const CMPIResult* self, const CMPIValue* value, CMPIType type);
    CMPIStatus (*returnInstance)(const CMPIResult* self, const CMPIInstance* inst);
    CMPIStatus (*returnObjectPath)(const CMPIResult* self, const CMPIObjectPath* op);
    CMPIStatus (*returnDone)(const CMPIResult* self);
};

/* getCharPtr: text inside the object, valid as long as the object. */
struct _CMPIStringFT {
    CMPIVersion ftVersion;
    CMPIStatus (*release)(CMPIString* self);
    CMPIString* (*clone)(const CMPIString* self, CMPIStatus* rc);
    const char* (*getCharPtr)(const CMPIString* self, CMPIStatus* rc);
};

/* Elements are of one type, given to newArray without CMPI_ARRAY. */
struct _CMPIArrayFT {
    CMPIVersion ftVersion;
    CMPIStatus (*release)(CMPIArray* self);
    CMPIArray* (*clone)(const CMPIArray* self, CMPIStatus* rc);
    CMPICount (*getSize)(const CMPIArray* self, CMPIStatus* rc);
    CMPIType (*getSimpleType)(const CMPIArray* self, CMPIStatus* rc);
    CMPIData (*getElementAt)(const CMPIArray* self, CMPICount index, CMPIStatus* rc);
    CMPIStatus (*setElementAt)(const CMPIArray* self, CMPICount index, const CMPIValue* value, CMPIType type);
};

struct _CMPIEnumerationFT {
    CMPIVersion ftVersion;
    CMPIStatus (*release)(CMPIEnumeration* self);
    CMPIEnumeration* (*clone)(const CMPIEnumeration* self, CMPIStatus* rc);
    CMPIData (*getNext)(const CMPIEnumeration* self, CMPIStatus* rc);
    CMPIBoolean (*hasNext)(const CMPIEnumeration* self, CMPIStatus* rc);
    CMPIArray* (*toArray)(const CMPIEnumeration* self, CMPIStatus* rc);
};

struct _CMPIInstanceFT {
    CMPIVersion ftVersion;
    CMPIStatus (*release)(CMPIInstance* self);
    CMPIInstance* (*clone)(const CMPIInstance* self, CMPIStatus* rc);
    CMPIData (*getProperty)(const CMPIInstance* self, const char* name, CMPIStatus* rc);
    CMPIData (*getPropertyAt)(const CMPIInstance* self, CMPICount index, CMPIString** name, CMPIStatus* rc);
    CMPICount (*getPropertyCount)(const CMPIInstance* self, CMPIStatus* rc);
    CMPIStatus (*setProperty)(const CMPIInstance* self, const char* name, const CMPIValue* value, CMPIType type);
    CMPIObjectPath* (*getObjectPath)(const CMPIInstance* self, CMPIStatus* rc);
    CMPIStatus (*setPropertyFilter)(const CMPIInstance* self, const char** properties, const char** keyList);
    CMPIStatus (*setObjectPath)(const CMPIInstance* self, const CMPIObjectPath* op);
};

/* Namespace, class and key bindings of an instance, or of a class where no keys are set. */
struct _CMPIObjectPathFT {
    CMPIVersion ftVersion;
    CMPIStatus (*release)(CMPIObjectPath* self);
    CMPIObjectPath* (*clone)(const CMPIObjectPath* self, CMPIStatus* rc);
    CMPIStatus (*setNameSpace)(const CMPIObjectPath* self, const char* ns);
    CMPIString* (*getNameSpace)(const CMPIObjectPath* self, CMPIStatus* rc);
    CMPIStatus (*setHostname)(const CMPIObjectPath* self, const char* hn);
    CMPIString* (*getHostname)(const CMPIObjectPath* self, CMPIStatus* rc);
    CMPIStatus (*setClassName)(const CMPIObjectPath* self, const char* cn);
    CMPIString* (*getClassName)(const CMPIObjectPath* self, CMPIStatus* rc);
    CMPIStatus (*addKey)(const CMPIObjectPath* self, const char* key, const CMPIValue* value, CMPIType type);
    CMPIData (*getKey)(const CMPIObjectPath* self, const char* key, CMPIStatus* rc);
    CMPIData (*getKeyAt)(const CMPIObjectPath* self, CMPICount index, CMPIString** name, CMPIStatus* rc);
    CMPICount (*getKeyCount)(const CMPIObjectPath* self, CMPIStatus* rc);
    CMPIStatus (*setNameSpaceFromObjectPath)(const CMPIObjectPath* self, const CMPIObjectPath* src);
    CMPIStatus (*setHostAndNameSpaceFromObjectPath)(const CMPIObjectPath* self, const CMPIObjectPath* src);
    CMPIData (*getClassQualifier)(const CMPIObjectPath* self, const char* qName, CMPIStatus* rc);
    CMPIData (*getPropertyQualifier)(const CMPIObjectPath* self, const char* pName, const char* qName, CMPIStatus* rc);
    CMPIData (*getMethodQualifier)(const CMPIObjectPath* self, const char* methodName, const char* qName,
                                   CMPIStatus* rc);
    CMPIData (*getParameterQualifier)(const CMPIObjectPath* self, const char* mName, const char* pName,
                                      const char* qName, CMPIStatus* rc);
    CMPIString* (*toString)(const CMPIObjectPath* self, CMPIStatus* rc);
};

struct _CMPIArgsFT {
    CMPIVersion ftVersion;
    CMPIStatus (*release)(CMPIArgs* self);
    CMPIArgs* (*clone)(const CMPIArgs* self, CMPIStatus* rc);
    CMPIStatus (*addArg)(const CMPIArgs* self, const char* name, const CMPIValue* value, CMPIType type);
    CMPIData (*getArg)(const CMPIArgs* self, const char* name, CMPIStatus* rc);
    CMPIData (*getArgAt)(const CMPIArgs* self, CMPICount index, CMPIString** name, CMPIStatus* rc);
    CMPICount (*getArgCount)(const CMPIArgs* self, CMPIStatus* rc);
};

struct _CMPIDateTimeFT {
    CMPIVersion ftVersion;
    CMPIStatus (*release)(CMPIDateTime* self);
    CMPIDateTime* (*clone)(const CMPIDateTime* self, CMPIStatus* rc);
    CMPIUint64 (*getBinaryFormat)(const CMPIDateTime* self, CMPIStatus* rc);
    CMPIString* (*getStringFormat)(const CMPIDateTime* self, CMPIStatus* rc);
    CMPIBoolean (*isInterval)(const CMPIDateTime* self, CMPIStatus* rc);
};

struct _CMPISelectExpFT {
    CMPIVersion ftVersion;
    CMPIStatus (*release)(CMPISelectExp* self);
    CMPISelectExp* (*clone)(const CMPISelectExp* self, CMPIStatus* rc);
    CMPIBoolean (*evaluate)(const CMPISelectExp* self, const CMPIInstance* inst, CMPIStatus* rc);
    CMPIString* (*getString)(const CMPISelectExp* self, CMPIStatus* rc);
    CMPISelectCond* (*getDOC)(const CMPISelectExp* self, CMPIStatus* rc);
    CMPISelectCond* (*getCOD)(const CMPISelectExp* self, CMPIStatus* rc);
    CMPIBoolean (*evaluateUsingAccessor)(const CMPISelectExp* self, CMPIAccessor* accessor, void* parm, CMPIStatus* rc);
};

/* Slots of a provider are called without a test for null: one that serves nothing answers CMPI_RC_ERR_NOT_SUPPORTED. */
struct _CMPIInstanceMIFT {
    CMPIVersion ftVersion;
    int miVersion;
    const char* miName;
    CMPIStatus (*cleanup)(CMPIInstanceMI* self, const CMPIContext* ctx, CMPIBoolean terminating);
    CMPIStatus (*enumerateInstanceNames)(CMPIInstanceMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                                         const CMPIObjectPath* classPath);
    CMPIStatus (*enumerateInstances)(CMPIInstanceMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                                     const CMPIObjectPath* classPath, const char** properties);
    CMPIStatus (*getInstance)(CMPIInstanceMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                              const CMPIObjectPath* instPath, const char** properties);
    CMPIStatus (*createInstance)(CMPIInstanceMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                                 const CMPIObjectPath* classPath, const CMPIInstance* inst);
    CMPIStatus (*modifyInstance)(CMPIInstanceMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                                 const CMPIObjectPath* instPath, const CMPIInstance* modInst, const char** properties);
    CMPIStatus (*deleteInstance)(CMPIInstanceMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                                 const CMPIObjectPath* op);
    CMPIStatus (*execQuery)(CMPIInstanceMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                            const CMPIObjectPath* classPath, const char* query, const char* lang);
};

/* Class and role filters may be null: no filter. */
struct _CMPIAssociationMIFT {
    CMPIVersion ftVersion;
    int miVersion;
    const char* miName;
    CMPIStatus (*cleanup)(CMPIAssociationMI* self, const CMPIContext* ctx, CMPIBoolean terminating);
    CMPIStatus (*associators)(CMPIAssociationMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                              const CMPIObjectPath* instPath, const char* assocClass, const char* resultClass,
                              const char* role, const char* resultRole, const char** properties);
    CMPIStatus (*associatorNames)(CMPIAssociationMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                                  const CMPIObjectPath* instPath, const char* assocClass, const char* resultClass,
                                  const char* role, const char* resultRole);
    CMPIStatus (*references)(CMPIAssociationMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                             const CMPIObjectPath* instPath, const char* resultClass, const char* role,
                             const char** properties);
    CMPIStatus (*referenceNames)(CMPIAssociationMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                                 const CMPIObjectPath* instPath, const char* resultClass, const char* role);
};

struct _CMPIMethodMIFT {
    CMPIVersion ftVersion;
    int miVersion;
    const char* miName;
    CMPIStatus (*cleanup)(CMPIMethodMI* self, const CMPIContext* ctx, CMPIBoolean terminating);
    CMPIStatus (*invokeMethod)(CMPIMethodMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                               const CMPIObjectPath* objPath, const char* method, const CMPIArgs* in, CMPIArgs* out);
};

struct _CMPIPropertyMIFT {
    CMPIVersion ftVersion;
    int miVersion;
    const char* miName;
    CMPIStatus (*cleanup)(CMPIPropertyMI* self, const CMPIContext* ctx, CMPIBoolean terminating);
    CMPIStatus (*setProperty)(CMPIPropertyMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                              const CMPIObjectPath* instPath, const char* name, CMPIData data);
    CMPIStatus (*getProperty)(CMPIPropertyMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                              const CMPIObjectPath* instPath, const char* name);
};

struct _CMPIIndicationMIFT {
    CMPIVersion ftVersion;
    int miVersion;
    const char* miName;
    CMPIStatus (*cleanup)(CMPIIndicationMI* self, const CMPIContext* ctx, CMPIBoolean terminating);
    CMPIStatus (*authorizeFilter)(CMPIIndicationMI* self, const CMPIContext* ctx, const CMPISelectExp* filter,
                                  const char* className, const CMPIObjectPath* classPath, const char* owner);
    CMPIStatus (*mustPoll)(CMPIIndicationMI* self, const CMPIContext* ctx, const CMPIResult* rslt,
                           const CMPISelectExp* filter, const char* className, const CMPIObjectPath* classPath);
    CMPIStatus (*activateFilter)(CMPIIndicationMI* self, const CMPIContext* ctx, const CMPISelectExp* filter,
                                 const char* className, const CMPIObjectPath* classPath, CMPIBoolean firstActivation);
    CMPIStatus (*deActivateFilter)(CMPIIndicationMI* self, const CMPIContext* ctx, const CMPISelectExp* filter,
                                   const char* className, const CMPIObjectPath* classPath,
                                   CMPIBoolean lastDeactivation);
    CMPIStatus (*enableIndications)(CMPIIndicationMI* self, const CMPIContext* ctx);
    CMPIStatus (*disableIndications)(CMPIIndicationMI* self, const CMPIContext* ctx);
};

#ifdef __cplusplus
}
#endif

#endif

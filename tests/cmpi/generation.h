/*
 * What the product uses of the CMPI declarations of other object managers' headers, in the shapes of three generations:
 * GENERATION 100 is 1.00, 200 is 2.0, 210 is 2.1, all at level 100. The product is compiled against it and never run;
 * tables have the slots that the product knows. What the generations share is as in this tree's cmpi/.
 */
#ifndef PCIINFO_TESTS_CMPI_GENERATION_H
#define PCIINFO_TESTS_CMPI_GENERATION_H

#if !defined(CMPI_PLATFORM_LINUX_GENERIC_GNU) && GENERATION > 100
#error "A platform macro must be set on the command line"
#endif
#if CMPI_VERSION != 100
#error "Unknown CMPI_VERSION"
#endif

/* Before 2.1 handles and tables may be written, and so may the objects that setters are given. */
#if GENERATION < 210
#define CONST_IN_21
typedef int TableVersion;
#else
#define CONST_IN_21 const
typedef int CMPIVersion;
typedef CMPIVersion TableVersion;
#endif
#if GENERATION == 100
#define CONST_IN_20
#define ENUM_INSTANCE_NAMES enumInstanceNames
#define ENUM_INSTANCES enumInstances
#else
#define CONST_IN_20 const
#define ENUM_INSTANCE_NAMES enumerateInstanceNames
#define ENUM_INSTANCES enumerateInstances
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned char CMPIBoolean;
typedef unsigned short CMPIChar16;
typedef unsigned char CMPIUint8;
typedef unsigned short CMPIUint16;
typedef unsigned int CMPIUint32;
typedef unsigned long long CMPIUint64;
typedef unsigned int CMPICount;
typedef unsigned short CMPIType;
typedef unsigned short CMPIValueState;

#define OBJECT(type, handle)                \
    typedef struct _##type type;            \
    typedef struct _##type##FT type##FT;    \
    struct _##type {                        \
        handle hdl;                         \
        CONST_IN_21 struct _##type##FT* ft; \
    }
OBJECT(CMPIContext, CONST_IN_21 void*);
OBJECT(CMPIResult, CONST_IN_21 void*);
OBJECT(CMPIString, CONST_IN_21 void*);
OBJECT(CMPIArray, CONST_IN_21 void*);
OBJECT(CMPIEnumeration, CONST_IN_21 void*);
OBJECT(CMPIInstance, CONST_IN_21 void*);
OBJECT(CMPIObjectPath, CONST_IN_21 void*);
OBJECT(CMPIInstanceMI, CONST_IN_20 void*);
OBJECT(CMPIAssociationMI, CONST_IN_21 void*);

typedef struct _CMPIValuePtr {
    void* ptr;
    CMPICount length;
} CMPIValuePtr;

/* The first member is what an initialiser in braces sets. */
typedef union _CMPIValue {
#if GENERATION < 210
    CMPIUint64 uint64;
    CMPIBoolean boolean;
#else
    CMPIBoolean boolean;
    CMPIUint64 uint64;
#endif
    CMPIUint32 uint32;
    CMPIUint16 uint16;
    CMPIUint8 uint8;
    CMPIChar16 char16;
    CMPIInstance* inst;
    CMPIObjectPath* ref;
    CMPIArray* array;
    CMPIString* string;
    char* chars;
    CMPIValuePtr dataPtr;
} CMPIValue;

typedef struct _CMPIData {
    CMPIType type;
    CMPIValueState state;
    CMPIValue value;
} CMPIData;

typedef enum _CMPIrc {
    CMPI_RC_OK = 0,
    CMPI_RC_ERR_FAILED = 1,
    CMPI_RC_ERR_INVALID_CLASS = 5,
    CMPI_RC_ERR_NOT_SUPPORTED = 7,
    CMPI_RC_ERR_INVALID_HANDLE = 60
} CMPIrc;

typedef struct _CMPIStatus {
    CMPIrc rc;
    CMPIString* msg;
} CMPIStatus;

#define CMPI_null 0
#define CMPI_boolean 0x0002
#define CMPI_char16 0x0003
#define CMPI_uint8 0x0080
#define CMPI_uint16 0x0090
#define CMPI_uint32 0x00a0
#define CMPI_uint64 0x00b0
#define CMPI_sint8 0x00c0
#define CMPI_sint16 0x00d0
#define CMPI_sint32 0x00e0
#define CMPI_sint64 0x00f0
#define CMPI_ref 0x1100
#define CMPI_string 0x1600
#define CMPI_chars 0x1700
#define CMPI_uint8A 0x2080
#define CMPI_uint16A 0x2090
#define CMPI_uint32A 0x20a0
#define CMPI_stringA 0x3600

#define CMPI_goodValue 0x0000
#define CMPI_nullValue 0x0100
#define CMPI_keyValue 0x0200
#define CMPI_notFound 0x0400
#define CMPI_badValue 0x8000

typedef struct _CMPIBroker CMPIBroker;
typedef const CMPIObjectPath* ConstPath; /* for shorter lines */

typedef struct _CMPIBrokerFT {
#if GENERATION == 100
    unsigned long brokerClassification;
#else
    unsigned int brokerCapabilities;
#endif
    CMPIEnumeration* (*ENUM_INSTANCES)(const CMPIBroker*, const CMPIContext*, ConstPath, const char**, CMPIStatus*);
} CMPIBrokerFT;

typedef struct _CMPIBrokerEncFT {
    TableVersion ftVersion;
    CMPIInstance* (*newInstance)(const CMPIBroker*, ConstPath, CMPIStatus*);
    CMPIObjectPath* (*newObjectPath)(const CMPIBroker*, const char*, const char*, CMPIStatus*);
    CMPIString* (*newString)(const CMPIBroker*, const char*, CMPIStatus*);
    CMPIArray* (*newArray)(const CMPIBroker*, CMPICount, CMPIType, CMPIStatus*);
} CMPIBrokerEncFT;

#if GENERATION == 200
/* One of these sets uses names that it does not declare for C++; whoever includes it declares them. */
typedef void*(__cdecl* ThreadStart)(void*);
typedef pthread_key_t ThreadKey;
#endif

struct _CMPIBroker {
    CONST_IN_21 void* hdl;
    CONST_IN_21 CMPIBrokerFT* bft;
    CONST_IN_21 CMPIBrokerEncFT* eft;
};

struct _CMPIResultFT {
    CMPIStatus (*returnInstance)(const CMPIResult*, const CMPIInstance*);
    CMPIStatus (*returnObjectPath)(const CMPIResult*, ConstPath);
    CMPIStatus (*returnDone)(const CMPIResult*);
};

struct _CMPIStringFT {
    CONST_IN_20 char* (*getCharPtr)(const CMPIString*, CMPIStatus*);
};

struct _CMPIArrayFT {
    CMPIStatus (*setElementAt)(CONST_IN_21 CMPIArray*, CMPICount, const CMPIValue*, CMPIType);
};

struct _CMPIEnumerationFT {
    CMPIData (*getNext)(const CMPIEnumeration*, CMPIStatus*);
    CMPIBoolean (*hasNext)(const CMPIEnumeration*, CMPIStatus*);
};

struct _CMPIInstanceFT {
    CMPIData (*getProperty)(const CMPIInstance*, const char*, CMPIStatus*);
    CMPIStatus (*setProperty)(CONST_IN_20 CMPIInstance*, const char*, const CMPIValue*, CMPIType);
    CMPIObjectPath* (*getObjectPath)(const CMPIInstance*, CMPIStatus*);
};

struct _CMPIObjectPathFT {
    CMPIString* (*getClassName)(ConstPath, CMPIStatus*);
    CMPIStatus (*addKey)(CONST_IN_21 CMPIObjectPath*, const char*, const CMPIValue*, CMPIType);
    CMPIData (*getKey)(ConstPath, const char*, CMPIStatus*);
};

/* The tables that the product fills, by position. */
#define ASKED const CMPIContext*, const CMPIResult*, ConstPath

struct _CMPIInstanceMIFT {
    TableVersion ftVersion;
    int miVersion;
    const char* miName;
    CMPIStatus (*cleanup)(CMPIInstanceMI*, const CMPIContext*, CMPIBoolean);
    CMPIStatus (*ENUM_INSTANCE_NAMES)(CMPIInstanceMI*, ASKED);
    CMPIStatus (*ENUM_INSTANCES)(CMPIInstanceMI*, ASKED, const char**);
    CMPIStatus (*getInstance)(CMPIInstanceMI*, ASKED, const char**);
    CMPIStatus (*createInstance)(CMPIInstanceMI*, ASKED, const CMPIInstance*);
    CMPIStatus (*modifyInstance)(CMPIInstanceMI*, ASKED, const CMPIInstance*, const char**);
    CMPIStatus (*deleteInstance)(CMPIInstanceMI*, ASKED);
    CMPIStatus (*execQuery)(CMPIInstanceMI*, ASKED, const char*, const char*);
};

struct _CMPIAssociationMIFT {
    TableVersion ftVersion;
#if GENERATION == 200
    const
#endif
        int miVersion;
    const char* miName;
    CMPIStatus (*cleanup)(CMPIAssociationMI*, const CMPIContext*, CMPIBoolean);
    CMPIStatus (*associators)(CMPIAssociationMI*, ASKED, const char*, const char*, const char*, const char*,
                              const char**);
    CMPIStatus (*associatorNames)(CMPIAssociationMI*, ASKED, const char*, const char*, const char*, const char*);
    CMPIStatus (*references)(CMPIAssociationMI*, ASKED, const char*, const char*, const char**);
    CMPIStatus (*referenceNames)(CMPIAssociationMI*, ASKED, const char*, const char*);
};

#ifdef __cplusplus
}
#endif

#endif

#ifndef _CMPIOS_H_
#define _CMPIOS_H_

/*
 * What the interface takes from the operating system. Threads, mutexes and conditions are opaque pointers; how an entry
 * point is exported does not depend on a platform macro of the command line.
 */

#define CMPI_THREAD_CDECL
#define CMPI_THREAD_TYPE void*
#define CMPI_THREAD_RETURN void*
#define CMPI_THREAD_KEY_TYPE unsigned int
#define CMPI_MUTEX_TYPE void*
#define CMPI_COND_TYPE void*

#define CMPI_EXPORT __attribute__((visibility("default")))
#define CMPI_IMPORT __attribute__((visibility("default")))

#ifdef __cplusplus
#define CMPI_EXTERN_C extern "C" CMPI_EXPORT
#else
#define CMPI_EXTERN_C CMPI_EXPORT
#endif

#endif

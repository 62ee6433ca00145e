// Threads of a provider: slots by which they take part in a request, and the table of threads, locks and conditions.

#include <pthread.h>

#include <chrono>
#include <ctime>
#include <memory>
#include <thread>

#include "broker/objects.h"
#include "broker/slots.h"

namespace broker {

namespace {

void* newThread(CMPIThreadFunc start, void* argument, int detached) {
    pthread_t thread{};
    if (pthread_create(&thread, nullptr, start, argument) != 0) return nullptr;
    if (detached != 0) pthread_detach(thread);
    return reinterpret_cast<void*>(thread);  // NOLINT(performance-no-int-to-ptr): the interface's form of a thread
}

int joinThread(void* thread, void** result) {
    return pthread_join(reinterpret_cast<pthread_t>(thread), result);
}

int threadSleep(CMPIUint32 milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    return 0;
}

static_assert(sizeof(pthread_once_t) == sizeof(int), "the interface keeps a once flag in an int");
int threadOnce(int* once, CMPIThreadOnceFunc function) {
    return pthread_once(once, function);
}

int createThreadKey(CMPI_THREAD_KEY_TYPE* key, CMPIThreadKeyCleanupFunc cleanup) {
    return pthread_key_create(key, cleanup);
}

int destroyThreadKey(CMPI_THREAD_KEY_TYPE key) {
    return pthread_key_delete(key);
}

void* getThreadSpecific(CMPI_THREAD_KEY_TYPE key) {
    return pthread_getspecific(key);
}

int setThreadSpecific(CMPI_THREAD_KEY_TYPE key, void* value) {
    return pthread_setspecific(key, value);
}

void* newMutex(int) {
    auto mutex = std::make_unique<pthread_mutex_t>();
    return pthread_mutex_init(mutex.get(), nullptr) == 0 ? mutex.release() : nullptr;
}

void destroyMutex(void* mutex) {
    const std::unique_ptr<pthread_mutex_t> owned(static_cast<pthread_mutex_t*>(mutex));
    pthread_mutex_destroy(owned.get());
}

void lockMutex(void* mutex) {
    pthread_mutex_lock(static_cast<pthread_mutex_t*>(mutex));
}

void unlockMutex(void* mutex) {
    pthread_mutex_unlock(static_cast<pthread_mutex_t*>(mutex));
}

void* newCondition(int) {
    auto condition = std::make_unique<pthread_cond_t>();
    return pthread_cond_init(condition.get(), nullptr) == 0 ? condition.release() : nullptr;
}

void destroyCondition(void* condition) {
    const std::unique_ptr<pthread_cond_t> owned(static_cast<pthread_cond_t*>(condition));
    pthread_cond_destroy(owned.get());
}

int condWait(void* condition, void* mutex) {
    return pthread_cond_wait(static_cast<pthread_cond_t*>(condition), static_cast<pthread_mutex_t*>(mutex));
}

int timedCondWait(void* condition, void* mutex, struct timespec* until) {
    return pthread_cond_timedwait(static_cast<pthread_cond_t*>(condition), static_cast<pthread_mutex_t*>(mutex), until);
}

int signalCondition(void* condition) {
    return pthread_cond_signal(static_cast<pthread_cond_t*>(condition));
}

}  // namespace

// The copy belongs to the new thread, which gives it back with detachThread.
CMPIContext* slots::prepareAttachThread(const CMPIBroker* broker, const CMPIContext* context) {
    Core& core = Core::of(broker);
    if (core.enter("bft.prepareAttachThread") || context == nullptr) return nullptr;
    auto copy = std::make_unique<ContextObject>(core, ContextObject::of(context).data);
    copy->belongsToCaller = true;
    return copy.release()->handle();
}

CMPIStatus slots::attachThread(const CMPIBroker* broker, const CMPIContext* context) {
    Core& core = Core::of(broker);
    if (const auto fault = core.enter("bft.attachThread")) return {*fault, nullptr};
    if (context == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
    return {core.attachThread() ? CMPI_RC_OK : CMPI_RC_ERR_ALREADY_EXISTS, nullptr};
}

CMPIStatus slots::detachThread(const CMPIBroker* broker, const CMPIContext* context) {
    Core& core = Core::of(broker);
    if (const auto fault = core.enter("bft.detachThread")) return {*fault, nullptr};
    if (!core.detachThread()) return {CMPI_RC_ERR_FAILED, nullptr};
    auto* prepared = dynamic_cast<ContextObject*>(core.find(context));
    if (prepared != nullptr && prepared->belongsToCaller) delete prepared;
    return {CMPI_RC_OK, nullptr};
}

// Object managers leave slots of this table null; so does this one where a provider must not end threads anyway.
CMPIBrokerExtFT slots::extension() {
    return {CMPIVersion100, nullptr,       newThread,       joinThread,       nullptr,           nullptr,
            threadSleep,    threadOnce,    createThreadKey, destroyThreadKey, getThreadSpecific, setThreadSpecific,
            newMutex,       destroyMutex,  lockMutex,       unlockMutex,      newCondition,      destroyCondition,
            condWait,       timedCondWait, signalCondition};
}

}  // namespace broker

#include "platform/simulated/threadSanitizer.h"

#if defined(__SANITIZE_THREAD__)
extern "C" {
void AnnotateIgnoreReadsBegin(const char* file, int line);
void AnnotateIgnoreReadsEnd(const char* file, int line);
void AnnotateIgnoreWritesBegin(const char* file, int line);
void AnnotateIgnoreWritesEnd(const char* file, int line);
void AnnotateIgnoreSyncBegin(const char* file, int line);
void AnnotateIgnoreSyncEnd(const char* file, int line);
void __tsan_acquire(void* address);
void __tsan_release(void* address);
}
#endif

namespace kovra::simulated {

#if defined(__SANITIZE_THREAD__)
namespace {

thread_local int depth = 0; // of the calling thread's spells inside the machine

void beginToIgnoreSync() {
    AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
}

void endToIgnoreSync() {
    AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
}

void tellSync(void (*tell)(void*), const void* object) {
    if (depth > 0)
        endToIgnoreSync();
    tell(const_cast<void*>(object));
    if (depth > 0)
        beginToIgnoreSync();
}

} // namespace

InsideMachine::InsideMachine() {
    if (depth++ > 0)
        return;
    AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
    AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
    beginToIgnoreSync();
}

InsideMachine::~InsideMachine() {
    if (--depth > 0)
        return;
    endToIgnoreSync();
    AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
    AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
}

void releaseTo(const void* object) {
    tellSync(__tsan_release, object);
}

void acquireFrom(const void* object) {
    tellSync(__tsan_acquire, object);
}
#else
InsideMachine::InsideMachine() = default;
InsideMachine::~InsideMachine() = default;

void releaseTo(const void*) {}

void acquireFrom(const void*) {}
#endif

} // namespace kovra::simulated

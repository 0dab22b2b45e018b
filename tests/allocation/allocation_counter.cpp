// Replaces the global allocation functions of this program so that every heap allocation made
// while counting is seen: operator new in all its forms, and (outside the sanitizer builds,
// whose runtimes own malloc) malloc, calloc, realloc and the aligned forms, which reach glibc's
// allocator through its __libc_ entry points. The program exports these symbols, so the shader
// library, loaded with dlopen, binds to them too.
#include "allocation_counter.h"

#include <atomic>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KESTREL_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define KESTREL_SANITIZED 1
#endif
#endif

namespace {
std::atomic<bool> counting{false};
std::atomic<long> allocations{0};

inline void note() {
    if (counting.load(std::memory_order_relaxed)) allocations.fetch_add(1, std::memory_order_relaxed);
}
}  // namespace

namespace kestrel::allocation {
void startCounting() {
    allocations.store(0);
    counting.store(true);
}
long stopCounting() {
    counting.store(false);
    return allocations.load();
}
bool countsMalloc() {
#ifdef KESTREL_SANITIZED
    return false;
#else
    return true;
#endif
}
}  // namespace kestrel::allocation

#ifndef KESTREL_SANITIZED
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* pointer, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) {
    note();
    return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
    note();
    return __libc_calloc(count, size);
}
void* realloc(void* pointer, size_t size) {
    note();
    return __libc_realloc(pointer, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
    note();
    return __libc_memalign(alignment, size);
}
int posix_memalign(void** result, size_t alignment, size_t size) {
    note();
    void* pointer = __libc_memalign(alignment, size);
    if (pointer == nullptr) return 12;  // ENOMEM
    *result = pointer;
    return 0;
}
}
// operator new below allocates through std::malloc, which counts already.
#define KESTREL_NEW_COUNT()
#else
#define KESTREL_NEW_COUNT() note()
#endif

namespace {
void* allocate(size_t size) {
    KESTREL_NEW_COUNT();
    void* pointer = std::malloc(size == 0 ? 1 : size);
    if (pointer == nullptr) throw std::bad_alloc();
    return pointer;
}
void* allocateAligned(size_t size, std::align_val_t alignment) {
    KESTREL_NEW_COUNT();
    const size_t a = static_cast<size_t>(alignment);
    void* pointer = std::aligned_alloc(a, (size + a - 1) / a * a);
    if (pointer == nullptr) throw std::bad_alloc();
    return pointer;
}
}  // namespace

void* operator new(size_t size) { return allocate(size); }
void* operator new[](size_t size) { return allocate(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    try { return allocate(size); } catch (...) { return nullptr; }
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    try { return allocate(size); } catch (...) { return nullptr; }
}
void* operator new(size_t size, std::align_val_t alignment) { return allocateAligned(size, alignment); }
void* operator new[](size_t size, std::align_val_t alignment) { return allocateAligned(size, alignment); }
void operator delete(void* pointer) noexcept { std::free(pointer); }
void operator delete[](void* pointer) noexcept { std::free(pointer); }
void operator delete(void* pointer, size_t) noexcept { std::free(pointer); }
void operator delete[](void* pointer, size_t) noexcept { std::free(pointer); }
void operator delete(void* pointer, std::align_val_t) noexcept { std::free(pointer); }
void operator delete[](void* pointer, std::align_val_t) noexcept { std::free(pointer); }
void operator delete(void* pointer, size_t, std::align_val_t) noexcept { std::free(pointer); }
void operator delete[](void* pointer, size_t, std::align_val_t) noexcept { std::free(pointer); }

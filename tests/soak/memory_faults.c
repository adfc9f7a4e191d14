/* Memory with a fault, to be loaded before a program (LD_PRELOAD). FAILING_ALLOCATION is the number of the
 * allocation that is refused, or with a "+" behind it, of the first of all that are. COUNTED_ALLOCATIONS is
 * the file that gets their number at the end. */
#include <errno.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* glibc's own, below those that a program sees. */
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

static atomic_long made;
static long failing = -1; /* -1: not read yet, 0: none */
static bool and_all_after;

static bool fails(void) {
    if (failing < 0) {
        const char* text = getenv("FAILING_ALLOCATION");
        failing = text != NULL ? strtol(text, NULL, 10) : 0;
        and_all_after = text != NULL && strchr(text, '+') != NULL;
    }
    const long number = atomic_fetch_add(&made, 1) + 1;
    const bool is_failing = failing > 0 && (number == failing || (and_all_after && number > failing));
    if (is_failing) errno = ENOMEM;
    return is_failing;
}

void* malloc(size_t size) { return fails() ? NULL : __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return fails() ? NULL : __libc_calloc(count, size); }
void* realloc(void* memory, size_t size) { return fails() ? NULL : __libc_realloc(memory, size); }
void* aligned_alloc(size_t alignment, size_t size) {
    return fails() ? NULL : __libc_memalign(alignment, size);
}
int posix_memalign(void** memory, size_t alignment, size_t size) {
    *memory = aligned_alloc(alignment, size);
    return *memory != NULL ? 0 : ENOMEM;
}

__attribute__((destructor)) static void tell(void) {
    const char* file = getenv("COUNTED_ALLOCATIONS");
    FILE* stream = file != NULL ? fopen(file, "w") : NULL;
    if (stream == NULL) return;
    fprintf(stream, "%ld\n", atomic_load(&made));
    fclose(stream);
}

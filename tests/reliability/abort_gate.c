/* Stands between the module's wrappers and what they call, and aborts calls through the exception bridge as told.
   Loaded ahead of the module, so that it also sees the memory that the module takes and gives back. */
#include <setjmp.h>
#include <signal.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

/* The bridge. Not found by their names: this library is loaded before the module. */
static jmp_buf *exception_buffer;
static void **exception_type;
static const char **exception_message;

/* As the module has it, see runtime/entries.hpp. */
typedef void (*Invoke)(const uint64_t *slots, uint64_t *result);
typedef struct CallEntry {
  Invoke invoke;
  uint32_t name;
  uint16_t first_argument;
  uint16_t result_pointee;
  uint8_t argument_count;
  uint8_t input_count;
  uint8_t result;
  uint8_t result_scalar;
} CallEntry;

enum { most_entries = 320, most_kept = 1 << 16 };

static Invoke originals[most_entries];
static int entry_count;

/* ---- what the next calls of a thread are to do ----------------------------------------------------------------- */

static __thread void *abort_class;
static __thread long calls_until_abort = -1;      /* 0: the next one; -1: none */
static __thread int abort_late;                   /* only when the function has done its work */
static __thread long calls_until_signal = -1;
static __thread int signal_number;
/* A call that calls back, and where its function stands. */
static __thread int walk_entry = -1, walk_position, walk_visits;
static __thread long abort_walk_after = -1;       /* visits */
static __thread long allocations_until_abort = -1; /* also releases */

static long times_aborted[most_entries];
static char message[32] = "aborted";

/* ---- the texts that an aborted call leaves behind ------------------------------------------------------------ */

static struct {
  char *address;
  char *content;
} kept[most_kept];
static long kept_count;
static uint64_t text_slots[most_entries]; /* by entry: a bit for each argument that is a private copy */

static void abort_call(void) {
  *exception_type = abort_class;
  *exception_message = message;
  longjmp(*exception_buffer, 1);
}

static void keep_texts(int entry, const uint64_t *slots) {
  for (uint64_t left = text_slots[entry]; left; left &= left - 1) {
    char *text = (char *)slots[__builtin_ctzll(left)];
    if (text && kept_count < most_kept) {
      kept[kept_count].address = text;
      kept[kept_count++].content = strdup(text);
    }
  }
}

static void gate(int entry, const uint64_t *slots, uint64_t *result) {
  if (calls_until_signal >= 0 && calls_until_signal-- == 0) {
    raise(signal_number);
  }
  const int aborts = calls_until_abort >= 0 && calls_until_abort-- == 0;
  if (aborts) {
    ++times_aborted[entry];
    if (!abort_late) {
      keep_texts(entry, slots);
      abort_call();
    }
  }
  if (entry == walk_entry) {
    int (*visit)(void *, void *) = (int (*)(void *, void *))slots[walk_position];
    for (int i = 0; i < walk_visits; ++i) {
      if (i == abort_walk_after) {
        abort_call();
      }
      if (visit((void *)(uintptr_t)(i + 1), NULL)) {
        break;
      }
    }
    if (abort_walk_after >= walk_visits) {
      abort_call();
    }
    return;
  }
  originals[entry](slots, result);
  if (aborts) {
    keep_texts(entry, slots);
    abort_call();
  }
}

/* A function for each entry, which knows its number. */
#define ONE(n) \
  static void gate_##n(const uint64_t *slots, uint64_t *result) { gate(n - 1000, slots, result); }
#define TEN(n) ONE(n##0) ONE(n##1) ONE(n##2) ONE(n##3) ONE(n##4) ONE(n##5) ONE(n##6) ONE(n##7) ONE(n##8) ONE(n##9)
#define HUNDRED(n) TEN(n##0) TEN(n##1) TEN(n##2) TEN(n##3) TEN(n##4) TEN(n##5) TEN(n##6) TEN(n##7) TEN(n##8) TEN(n##9)
HUNDRED(10) HUNDRED(11) HUNDRED(12) TEN(130) TEN(131)
#undef ONE
#define ONE(n) gate_##n,
static const Invoke gates[most_entries] = {HUNDRED(10) HUNDRED(11) HUNDRED(12) TEN(130) TEN(131)};

void gate_bridge(jmp_buf *buffer, void **type, const char **text) {
  exception_buffer = buffer;
  exception_type = type;
  exception_message = text;
}
/* 0 when every call of the module goes through the gate from here on. */
int gate_install(CallEntry *entries, int count) {
  const uintptr_t page = (uintptr_t)sysconf(_SC_PAGESIZE);
  const uintptr_t start = (uintptr_t)entries & ~(page - 1);
  if (count > most_entries ||
      mprotect((void *)start, (uintptr_t)(entries + count) - start, PROT_READ | PROT_WRITE) != 0) {
    return -1;
  }
  for (int i = 0; i < count; ++i) {
    originals[i] = entries[i].invoke;
    entries[i].invoke = gates[i];
  }
  entry_count = count;
  return 0;
}
void gate_text_slots(int entry, uint64_t bits) { text_slots[entry] = bits; }

void gate_abort(void *exception_class, long calls, int late) {
  abort_class = exception_class;
  calls_until_abort = calls;
  abort_late = late;
}
void gate_signal(int number, long calls) {
  signal_number = number;
  calls_until_signal = calls;
}
void gate_walk(int entry, int position, int visits, long abort_after, void *exception_class) {
  walk_entry = entry;
  walk_position = position;
  walk_visits = visits;
  abort_walk_after = abort_after;
  abort_class = exception_class;
}
void gate_abort_memory(void *exception_class, long allocations) {
  abort_class = exception_class;
  allocations_until_abort = allocations;
}
long gate_times_aborted(int entry) { return times_aborted[entry]; }
/* Whether what is to abort has not come. */
int gate_pending(void) { return calls_until_abort >= 0 || allocations_until_abort >= 0; }

long gate_kept_texts(void) { return kept_count; }
/* How many of the texts that aborted calls were given have changed since. */
long gate_changed_texts(void) {
  long changed = 0;
  for (long i = 0; i < kept_count; ++i) {
    changed += strcmp(kept[i].address, kept[i].content) != 0;
  }
  return changed;
}

/* ---- the memory of the module --------------------------------------------------------------------------------- */

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void __libc_free(void *block);

enum { most_ranges = 4 };
static struct {
  uintptr_t first, last;
  int has_bridge;
} code[most_ranges];
static int code_count;
static long blocks_in_use;

/* `has_bridge`: aborts of memory functions are for this code. */
void gate_watch_code(uintptr_t first, uintptr_t last, int has_bridge) {
  code[code_count].first = first;
  code[code_count].last = last;
  code[code_count++].has_bridge = has_bridge;
}
/* Taken and not given back by the code that is watched. */
long gate_blocks_in_use(void) { return blocks_in_use; }

static void note_memory(const void *caller, int change) {
  for (int i = 0; i < code_count; ++i) {
    if ((uintptr_t)caller >= code[i].first && (uintptr_t)caller < code[i].last) {
      if (code[i].has_bridge && allocations_until_abort >= 0 && allocations_until_abort-- == 0) {
        abort_call();
      }
      blocks_in_use += change;
      return;
    }
  }
}

void *malloc(size_t size) {
  note_memory(__builtin_return_address(0), 1);
  return __libc_malloc(size);
}
void *calloc(size_t count, size_t size) {
  note_memory(__builtin_return_address(0), 1);
  return __libc_calloc(count, size);
}
void free(void *block) {
  if (block) {
    note_memory(__builtin_return_address(0), -1);
  }
  __libc_free(block);
}

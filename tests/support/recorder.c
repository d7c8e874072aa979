/* The stand-in libraries' memory: what was called, and what the next call is to do. */
#include "tests/support/recorder.h"

#include <setjmp.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

extern jmp_buf exception_buffer __attribute__((weak));
extern void *exceptionType __attribute__((weak));
extern const char *exceptionMsg __attribute__((weak));

enum { log_size = 1 << 16, most_positions = 16, most_text = 4096, most_kept_texts = 64 };

static char log_text[log_size];
static size_t log_used;
static long long result;
static struct {
  int width;
  long long value;
  int text_size;
  char text[most_text];
} stores[most_positions];
/* First texts of the aborted calls, as a library might keep them. */
static char *first_text;
static char *kept_texts[most_kept_texts];
static int kept_count;
static void *abort_class;
static const char *abort_message;
static int abort_value;

__attribute__((format(printf, 1, 2))) static void note(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int written = vsnprintf(log_text + log_used, log_size - log_used, format, arguments);
  va_end(arguments);
  if (written < 0 || (size_t)written >= log_size - log_used) {
    fputs("recorder: the log is full\n", stderr);
    abort();
  }
  log_used += (size_t)written;
}

static void store_through(int position, void *pointer) {
  if (pointer && stores[position].text_size) {
    memcpy(pointer, stores[position].text, (size_t)stores[position].text_size);
  } else if (pointer && stores[position].width) {
    memcpy(pointer, &stores[position].value, (size_t)stores[position].width);
  }
}

void record_call(const char *name) {
  first_text = NULL;
  note("%s%s", log_used ? "\n" : "", name);
}
void record_signed(int position, long long value) {
  (void)position;
  note("\t%lld", value);
}
void record_unsigned(int position, unsigned long long value) {
  (void)position;
  note("\t%llu", value);
}
void record_pointer(int position, void *pointer) {
  note("\t%llu", (unsigned long long)pointer);
  store_through(position, pointer);
}
void record_text(int position, char *text) {
  if (text) {
    note("\t\"%s\"", text);
  } else {
    note("\tnull");
  }
  if (!first_text) {
    first_text = text;
  }
  store_through(position, text);
}

long long recorded_result(void) {
  if (abort_value) {
    const int value = abort_value;
    exceptionType = abort_class;
    exceptionMsg = abort_message;
    abort_value = 0;
    if (kept_count < most_kept_texts) {
      kept_texts[kept_count++] = first_text;
    }
    longjmp(exception_buffer, value);
  }
  return result;
}

void recorder_reset(void) {
  log_used = 0;
  log_text[0] = 0;
  result = 0;
  memset(stores, 0, sizeof stores);
  abort_value = 0;
}
const char *recorder_log(void) {
  return log_text;
}
void recorder_return(long long value) {
  result = value;
}
void recorder_store(int position, long long value, int width) {
  stores[position].value = value;
  stores[position].width = width;
}
void recorder_store_text(int position, const char *text, int size) {
  memcpy(stores[position].text, text, (size_t)size);
  stores[position].text_size = size;
}
void recorder_abort(void *exception_class, const char *message, int jump_value) {
  abort_class = exception_class;
  abort_message = strdup(message); /* stays for good, as a library's would */
  abort_value = jump_value;
}

const char *recorder_kept_text(int index) { return kept_texts[index]; }

/* The one variadic function of the interface. */
void Panic(const char *format, ...);
void Panic(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  void *first = va_arg(arguments, void *);
  va_end(arguments);
  record_call("Panic");
  record_text(1, (char *)format);
  record_pointer(2, first);
}

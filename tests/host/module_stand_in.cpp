// Stands in for the module and the interpreter: the variables through which an aborted call comes back.
#include <csetjmp>

#define EXPORTED __attribute__((visibility("default")))

extern "C" {
EXPORTED jmp_buf exception_buffer;
EXPORTED int exception_status;
EXPORTED void *exceptionType;
EXPORTED char const *exceptionMsg;
// The classes themselves are never used, only told apart.
EXPORTED char memory_error[] = "MemoryError";
EXPORTED char os_error[] = "OSError";
EXPORTED char runtime_error[] = "RuntimeError";
EXPORTED char value_error[] = "ValueError";
EXPORTED void *PyExc_MemoryError = memory_error;
EXPORTED void *PyExc_OSError = os_error;
EXPORTED void *PyExc_RuntimeError = runtime_error;
EXPORTED void *PyExc_ValueError = value_error;
}

// A wrapper module as SWIG generates it: shares the runtime record with the module under test, and makes
// the pointers that no function of that module makes.
%module swig_peer
%{
#include <stdlib.h>
#include <string.h>
#include "interface/distributed_switch_state.h"
#include "interface/status_records.h"
%}

typedef unsigned char qel_uint8;
typedef unsigned short qel_uint16;
typedef unsigned int qel_uint32;
typedef unsigned long long qel_uint64;
typedef int qel_int32;
typedef int VSListType;
typedef void *DVSDataHandle;

typedef struct VSList {
  qel_int32 count;
  VSListType listType;
} VSList;

%inline %{
int count_of(VSList *list) { return list ? list->count : -1; }
VSList *same_list(VSList *list) { return list; }

// One zeroed cell of each kind; the caller keeps it for the life of the process.
static void *cell(void) { return calloc(1, 64); }
int *new_int_cell(void) { return cell(); }
qel_uint32 *new_uint32_cell(void) { return cell(); }
qel_uint16 *new_uint16_cell(void) { return cell(); }
void **new_pointer_cell(void) { return cell(); }
VSList **new_list_cell(void) { return cell(); }
struct DVPortList **new_port_list_cell(void) { return cell(); }
struct OpaqueDVPortData **new_opaque_port_cell(void) { return cell(); }
unsigned char *new_bytes(void) { return cell(); }

static void *peer_allocate(size_t size) { return malloc(size); }
static void peer_release(void *memory) { free(memory); }
static int peer_visit(void *element, void *context) { (void)element; (void)context; return 0; }
typedef void *(*DVSData_MemAlloc)(size_t);
typedef void (*DVSData_MemFree)(void *);
typedef int (*DVSwitchCallback)(void *, void *);
DVSData_MemAlloc an_allocator(void) { return peer_allocate; }
DVSData_MemFree a_releaser(void) { return peer_release; }
DVSwitchCallback a_visitor(void) { return peer_visit; }

%}

// SWIG turns a char * result into a str; this keeps it a pointer.
%typemap(out) char *new_text_pointer { $result = SWIG_NewPointerObj($1, SWIG_TypeQuery("_p_char"), 0); }
%inline %{
char *new_text_pointer(char const *text) { return text ? strdup(text) : NULL; }

// An aliasing proxy of any address, without a type that anything accepts.
void *at(unsigned long long address) { return (void *)address; }
%}

// Instances of the companion layer's record classes, as far as the engine knows them.
#pragma once

#include "runtime/proxy.hpp"

namespace vswitchpy {

// Whose the memory of an instance is, and what moves it from one state to another:
//
//   state       | how it is told              | who frees the memory            | comes about in
//   ------------+-----------------------------+---------------------------------+------------------------------------
//   owned       | `owned`                     | the instance: free_own          | construct_into, make_instance,
//               |                             |                                 | record_set_thisown
//   proxy       | `proxy`; its flag `own`     | the proxy, if it owns it        | record_get_this, adopt_proxy
//   view        | `owner`, lies_in_owner      | the owner, which it keeps alive | lie_in
//   handed out  | `source`, none of the above | the library: hand_back          | remember_source
//   unknown     | none of these               | whoever has it; not the layer   | make_instance
//   released    | given_back                  | nobody: it is gone              | free_own_memory, remember_release,
//               |                             |                                 | destruct
//
// An owned instance becomes a proxy's when a script asks for `this`; `thisown` switches between owned and handed out or
// unknown; what is released stays so, and a view is released with its owner.

// An instance carries its native pointer itself. A proxy for it is made only when a script asks for `this`; from
// then on the proxy owns the memory, and the pointer here is a copy of its own (null if the proxy is of
// another type: then only the slow paths work).
struct RecordObject {
  PyObject_HEAD void *pointer;
  swig_type_info *type;
  PyObject *proxy;      // `this` once it was asked for or assigned, or null
  RecordObject *owner;  // of a view: the instance whose memory it lies in, kept alive by it; or null
  PyObject *weak_references;
  std::uint16_t source;  // 1 + position of the library call that handed the record out; 0: none did
  // Why the pointer alone does not say where the record is; 0 for most records.
  std::uint8_t state;
  bool owned;         // while there is no proxy: whether the memory is freed with the instance
  std::uint16_t run;  // of a view of an array whose elements its record counts: which one (run_in); 0: of none
};

// Bits of `state`.
inline constexpr std::uint8_t lies_in_owner = 1;  // a view
inline constexpr std::uint8_t follows_proxy = 2;  // `proxy` is of the module's own kind, and says where the record is
inline constexpr std::uint8_t given_back = 4;     // the memory was released before the instance went
inline constexpr std::uint8_t of_other_type = 8;  // not a record of its class, which was registered for another one

// What the companion layer hands to the engine when it is imported. Without it no instance exists.
struct RecordClasses {
  PyTypeObject *base;  // of every record class
  // An instance of a class whose direct base is `base`. New reference, or null with the error set.
  PyObject *(*make)(PyTypeObject *type, void *pointer, swig_type_info *descriptor, Ownership ownership);
};
extern RecordClasses record_classes;

// Whether an object is an instance of one of the record classes or of a class derived from one.
inline bool is_record(PyObject *object) {
  if (!record_classes.base) {
    return false;
  }
  return Py_TYPE(object)->tp_base == record_classes.base || PyType_IsSubtype(Py_TYPE(object), record_classes.base);
}

inline RecordObject *as_record(PyObject *object) {
  return reinterpret_cast<RecordObject *>(object);
}

// Whether the memory was given back: its own, or that of the record in which it lies.
inline bool is_released(const RecordObject *record) {
  return (record->owner ? record->owner : record)->state & given_back;
}

// Where the record is; null if it was never set or is released.
inline void *live_pointer(const RecordObject *record) {
  if (!record->state) [[likely]] {
    return record->pointer;
  }
  if (is_released(record)) {
    return nullptr;
  }
  return record->proxy && record->state & follows_proxy ? reinterpret_cast<SwigPyObject *>(record->proxy)->ptr
                                                        : record->pointer;
}

inline void mark_released(RecordObject *record) {
  record->state |= given_back;
}

}  // namespace vswitchpy

// Indexed access to counted and unbounded arrays: each pattern once, and the records that follow it.
#pragma once

#include "extensions/names.hpp"
#include "interface/mirror_records.h"
#include "interface/option_records.h"
#include "interface/policy_records.h"
#include "interface/status_records.h"
#include "runtime/type_names.hpp"

namespace vswitchpy {

// ---- when an index is valid ----------------------------------------------------------------------------

// Below a 32-bit count in the record. The comparison is unsigned, so that negative indexes are invalid too.
template <std::size_t offset>
struct BelowCount {
  static constexpr std::size_t count_offset = offset;
  static int count(const void *record) { return load<int>(record, count_offset); }
  static bool holds(const void *record, int index) {
    return static_cast<unsigned>(index) < static_cast<unsigned>(count(record));
  }
};

// Up to a constant. The comparison is signed and negative indexes pass: the platform's scripts reach the fields
// before the array that way.
template <int last>
struct UpTo {
  static bool holds(const void * /*record*/, int index) { return index <= last; }
};

// What every method but the one of VSList says about an invalid index; no error is raised.
void report_invalid_index();

// ---- patterns 1 and 2: names in slots of fixed width -----------------------------------------------------

template <class Record, class Bound, std::size_t first, std::size_t stride, std::size_t width = stride>
struct NameSlots : Bound {
  static int count(Record *self) { return Bound::count(self); }

  static SlotText get(Record *self, int index) {
    if (!Bound::holds(self, index)) {
      report_invalid_index();
      return {};
    }
    return slot_at(self, element_offset(first, stride, index), width);
  }

  static TextObject get_silently(Record *self, int index) {
    return Bound::holds(self, index) ? slot_text(byte_at(self, element_offset(first, stride, index)), width)
                                     : no_text();
  }

  static void set(Record *self, int index, char const *text) {
    if (!Bound::holds(self, index)) {
      report_invalid_index();
      return;
    }
    write_slot(byte_at(self, element_offset(first, stride, index)), text, width);
  }
};

#define COUNT(record, member) BelowCount<offsetof(record, member)>
using UplinkNames = NameSlots<VSUplinks, COUNT(VSUplinks, numEntries), offsetof(VSUplinks, entries),
                              sizeof(VSUplinks_entries), sizeof(qel_Name)>;
using UplinkPortNames =
    NameSlots<VSUplinkPorts, COUNT(VSUplinkPorts, nUplinkPorts), offsetof(VSUplinkPorts, uplinkPortName), 81>;
using UplinkPortIds =
    NameSlots<VSUplinkPortIds, COUNT(VSUplinkPortIds, nUplinkPorts), offsetof(VSUplinkPortIds, uplinkPortId), 48>;
using LagUplinkNames =
    NameSlots<VSLAGStatus, COUNT(VSLAGStatus, numUplinks), offsetof(VSLAGStatus, uplinkNames), sizeof(qel_Name)>;
using MirrorSessionIds = NameSlots<VSDVMirrorSessionIDs, COUNT(VSDVMirrorSessionIDs, numEntries),
                                   offsetof(VSDVMirrorSessionIDs, entries), 32>;
using TeamUplinkNames = NameSlots<VSTeamPolicy, UpTo<31>, offsetof(VSTeamPolicy, uplinkPortName), 81>;
using LogicalSwitchTeamUplinkNames = NameSlots<LSTeamPolicy, UpTo<31>, offsetof(LSTeamPolicy, uplinkPortName), 81>;

// The one list whose slots have the width that its kind asks for.
struct SwitchNames {
  static constexpr std::size_t count_offset = offsetof(VSList, count);
};
SlotText switch_name(VSList *self, int index);

// ---- pattern 3: tables of whole records -----------------------------------------------------------------

// What a method returns that may refuse an argument after its other checks.
struct NoneObject {
  PyObject *object;
  static constexpr std::string_view annotation = "None";
};

template <class Record, class Entry, class Bound, std::size_t first = sizeof(Record)>
struct EntryTable : Bound {
  static Entry *get(Record *self, int index) {
    if (!Bound::holds(self, index)) {
      report_invalid_index();
      return nullptr;
    }
    return record_at<Entry>(self, element_offset(first, sizeof(Entry), index));
  }

  static NoneObject set(Record *self, int index, Entry const *entry) {
    Entry *slot = get(self, index);
    if (slot && !entry) {
      return {null_reference_error(method_name.characters.data(), 3, entry_type.characters.data())};
    }
    if (slot) {
      std::memmove(slot, entry, sizeof(Entry));
    }
    return {Py_NewRef(Py_None)};
  }

 private:
  static constexpr ShortText method_name = ShortText(declared_name<Record>()) + "___setitem__";
  static constexpr ShortText entry_type = ShortText(declared_name<Entry>()) + " const *";
};

using MirrorSessions = EntryTable<DVMirrorSessionTable, DVMirrorSession, COUNT(DVMirrorSessionTable, numSessions)>;
using LogicalSwitchTeams = EntryTable<LSTeamTable, LSTeamPolicy, COUNT(LSTeamTable, numLSTeam)>;
using RtmSwitches = EntryTable<RTMIOCtlQuery, RTM_Portset, COUNT(RTMIOCtlQuery, numPortsets)>;
using RtmModules = EntryTable<RTMModIOCtlQuery, RTM_ModInfo, COUNT(RTMModIOCtlQuery, numMod)>;

// ---- pattern 4: runs of records without a bound -----------------------------------------------------------

// Element `index` of the run that starts `first` bytes into a record, as a copy of its own.
template <class Record, class Element = Record, std::size_t first = 0>
struct Run {
  static Owned<Element> get(Record *self, int index) {
    return owned_copy<Element>(byte_at(self, element_offset(first, sizeof(Element), index)));
  }
};

using PortVlanRanges = Run<VSPortVlanPolicy, qel_HNQPortVIDRange, offsetof(VSPortVlanPolicy, vidRanges)>;

// Arrays that scripts make themselves; nothing knows their length.
template <class Element>
struct ElementArray {
  // Uninitialised; null without memory.
  static Element *create(std::size_t count) {
    std::size_t bytes = 0;
    const bool too_large = __builtin_mul_overflow(count, sizeof(Element), &bytes);
    return too_large ? nullptr : static_cast<Element *>(std::malloc(bytes));
  }

  static void release(Element *array) { std::free(array); }

  static Owned<Element> get(Element *array, std::size_t index) { return owned_copy<Element>(slot(array, index)); }

  static void set(Element *array, std::size_t index, Element *value) {
    std::memmove(slot(array, index), value, sizeof(Element));
  }

 private:
  static void *slot(Element *array, std::size_t index) {
    return byte_at(array, static_cast<std::int64_t>(sizeof(Element) * index));
  }
};

// ---- pattern 5: the counted integer array ---------------------------------------------------------------

using ActiveDestinations = COUNT(VSPromiscSessionActiveDsts, numEntries);
// An invalid index is reported and reads as port 0, which is no port.
qel_SwitchPortID active_destination(VSPromiscSessionActiveDsts *self, int index);
void set_active_destination(VSPromiscSessionActiveDsts *self, int index, qel_SwitchPortID port);
#undef COUNT

// ---- values within records ------------------------------------------------------------------------------

Owned<VSPMACLearningStats> port_mac_learning_stats(VSPMACLearningStatsPortInfo *self);
Owned<VSPropSecurity> port_security(VSPropSecurityPortInfo *self);
Owned<VSPMACLearning> port_mac_learning(VSPMACLearningInfo *self);
// Word `index` of the 64-bit words of the VLAN bitmap; no bound.
qel_uint64 vlan_bitmap_word(VSStaticLEEntry *self, int index);
// Empty without a value.
BytesObject property_value_bytes(HNQQuery *self);
// None for a null record.
TextObject name_text(qel_Name *self);

}  // namespace vswitchpy

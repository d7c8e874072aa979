// Turns rows into the tables that the module carries, at compile time.
#pragma once

#include "runtime/entries.hpp"
#include "runtime/module.hpp"
#include "runtime/rows.hpp"

namespace vswitchpy {

// Never defined: reached only while compiling a table that is wrong.
void type_without_descriptor();
void descriptor_declared_twice();
void element_too_large();
void function_name_too_long();

// ---- rows in flat form -------------------------------------------------------------------------------

struct FlatRecord : RecordHead {
  std::size_t field_count = 0;
  std::size_t method_count = 0;
};

template <std::size_t Records, std::size_t Fields, std::size_t Methods>
struct FlatRecords {
  std::array<FlatRecord, Records> records{};
  std::array<FieldRow, Fields> fields{};   // record by record
  std::array<CallRow, Methods> methods{};  // likewise
};

// All records of the domains, in declaration order. The domains are tuples of record rows.
template <const auto &...Domains>
consteval auto flatten_records() {
  constexpr auto count = [](auto measure) {
    const auto in_domain = [&](const auto &domain) {
      return std::apply([&](const auto &...rows) { return (std::size_t{0} + ... + measure(rows)); }, domain);
    };
    return (std::size_t{0} + ... + in_domain(Domains));
  };
  constexpr std::size_t record_count = count([](const auto &) { return std::size_t{1}; });
  constexpr std::size_t field_count = count([](const auto &row) { return row.fields.size(); });
  constexpr std::size_t method_count = count([](const auto &row) { return row.methods.size(); });
  FlatRecords<record_count, field_count, method_count> flat;
  std::size_t record = 0;
  std::size_t field = 0;
  std::size_t method = 0;
  const auto place = [&](const auto &row) {
    flat.records[record++] = {row, row.fields.size(), row.methods.size()};
    for (const FieldRow &item : row.fields) {
      flat.fields[field++] = item;
    }
    for (const CallRow &item : row.methods) {
      flat.methods[method++] = item;
    }
  };
  (std::apply([&](const auto &...rows) { (place(rows), ...); }, Domains), ...);
  return flat;
}

template <const auto &...Tables>
consteval auto concatenate() {
  using Row = std::common_type_t<typename std::remove_cvref_t<decltype(Tables)>::value_type...>;
  std::array<Row, (std::size_t{0} + ... + Tables.size())> all{};
  std::size_t next = 0;
  const auto append = [&](const auto &table) {
    for (const auto &row : table) {
      all[next++] = row;
    }
  };
  (append(Tables), ...);
  return all;
}

// ---- text pool ---------------------------------------------------------------------------------------

// Terminated texts back to back. Built with room to spare and cut to size once it is complete.
template <std::size_t Capacity>
struct TextPool {
  std::array<char, Capacity> characters{};
  std::size_t size = 0;
  std::array<std::pair<TextOffset, std::size_t>, 512> shared{};
  std::size_t shared_count = 0;

  template <class... Parts>
  constexpr TextOffset add(const Parts &...parts) {
    const auto start = static_cast<TextOffset>(size);
    const auto append = [&](std::string_view part) {
      for (const char character : part) {
        characters[size++] = character;
      }
    };
    (append(std::string_view(parts)), ...);
    characters[size++] = 0;
    return start;
  }

  // A text that many rows have in common is kept once.
  constexpr TextOffset add_shared(std::string_view text) {
    for (std::size_t i = 0; i < shared_count; ++i) {
      const auto [offset, length] = shared[i];
      if (std::string_view(characters.data() + offset, length) == text) {
        return offset;
      }
    }
    const TextOffset offset = add(text);
    shared[shared_count++] = {offset, text.size()};
    return offset;
  }
};

// ---- the tables --------------------------------------------------------------------------------------

// Interface supplies `records` (FlatRecords), `calls` (an array of call rows), `types` (descriptors beside
// those of the records) and `first_methods`, `last_methods` (ready-made entries around the derived ones).
template <class Interface>
struct Tables {
  static constexpr const auto &flat = Interface::records;
  static constexpr std::size_t record_count = flat.records.size();
  static constexpr std::size_t field_count = flat.fields.size();
  static constexpr std::size_t method_count = flat.methods.size();
  static constexpr std::size_t call_count = method_count + Interface::calls.size();
  static constexpr std::size_t type_count = record_count + Interface::types.size();

  static constexpr const CallRow &call_row(std::size_t index) {
    return index < method_count ? flat.methods[index] : Interface::calls[index - method_count];
  }

  static constexpr std::size_t argument_count = [] {
    std::size_t count = 0;
    for (std::size_t i = 0; i < call_count; ++i) {
      count += call_row(i).argument_count;
    }
    return count;
  }();

  static constexpr std::size_t derived_method_count = [] {
    std::size_t count = 3 * record_count + call_count;
    for (const FieldRow &field : flat.fields) {
      count += field.read_only ? 1 : 2;
    }
    for (std::size_t i = 0; i < call_count; ++i) {
      count -= call_row(i).overload ? 1 : 0;
    }
    return count;
  }();

  struct SortedType {
    std::string_view mangled;
    std::string_view display;  // empty for a record: derived from its name
    std::string_view record;
    bool tagged = false;
  };

  static constexpr auto sorted_types = [] {
    std::array<SortedType, type_count> types{};
    std::size_t next = 0;
    for (const FlatRecord &record : flat.records) {
      types[next++] = {record.mangled, {}, record.name, record.tagged};
    }
    for (const TypeRow &row : Interface::types) {
      types[next++] = {row.mangled, row.display, {}, false};
    }
    std::sort(types.begin(), types.end(),
              [](const SortedType &left, const SortedType &right) { return left.mangled < right.mangled; });
    for (std::size_t i = 1; i < types.size(); ++i) {
      if (types[i - 1].mangled == types[i].mangled) {
        descriptor_declared_twice();
      }
    }
    return types;
  }();

  static constexpr TypeIndex type_index(std::string_view mangled) {
    if (mangled.empty()) {
      return no_type;
    }
    const auto found =
        std::lower_bound(sorted_types.begin(), sorted_types.end(), mangled,
                         [](const SortedType &type, std::string_view key) { return type.mangled < key; });
    if (found == sorted_types.end() || found->mangled != mangled) {
      type_without_descriptor();
    }
    return static_cast<TypeIndex>(found - sorted_types.begin());
  }

  // Everything but the pointers, which have to be formed where the arrays live.
  struct Built {
    TextPool<160'000> texts;
    std::array<FieldEntry, field_count> fields{};
    std::array<RecordEntry, record_count> records{};
    std::array<ArgumentEntry, argument_count> arguments{};
    std::array<CallEntry, call_count> calls{};
    std::array<MethodEntry, derived_method_count> methods{};
    std::array<std::pair<TextOffset, TextOffset>, type_count> types{};
    std::size_t next_argument = 0;
    std::size_t next_method = 0;

    constexpr void add_method(MethodKind kind, std::size_t index, TextOffset name) {
      if (std::string_view(&texts.characters[name]).size() > longest_function_name) {
        function_name_too_long();
      }
      methods[next_method++] = {name, static_cast<std::uint16_t>(index), kind};
    }

    constexpr void add_field(std::size_t index, const FlatRecord &record, TextOffset self_type) {
      const FieldRow &row = flat.fields[index];
      FieldEntry &entry = fields[index];
      if (row.place.kind == FieldKind::array || row.place.kind == FieldKind::mac_text) {
        entry.name = texts.add_shared(row.name);
      }
      entry.type = texts.add_shared(row.type);
      entry.self_type = self_type;
      entry.place = row.place;
      entry.self = type_index(record.mangled);
      entry.pointee = type_index(row.pointee);
      entry.element_size = static_cast<std::uint16_t>(row.element_size);
      if (entry.element_size != row.element_size) {
        element_too_large();
      }
      if (!row.read_only) {
        entry.setter_name = texts.add(record.name, "_", row.name, "_set");
        add_method(MethodKind::setter, index, entry.setter_name);
      }
      entry.getter_name = texts.add(record.name, "_", row.name, "_get");
      add_method(MethodKind::getter, index, entry.getter_name);
    }

    constexpr void add_call(std::size_t index, TextOffset name) {
      const CallRow &row = call_row(index);
      CallEntry &entry = calls[index];
      entry.invoke = row.invoke;
      entry.name = name;
      entry.first_argument = static_cast<std::uint16_t>(next_argument);
      entry.argument_count = row.argument_count;
      entry.result = row.result;
      entry.result_scalar = row.result_scalar;
      entry.result_pointee = type_index(row.result_pointee);
      for (std::size_t i = 0; i < row.argument_count; ++i) {
        const ArgumentRow &argument = row.arguments[i];
        arguments[next_argument++] = {.type = texts.add_shared(argument.type),
                                      .pointee = type_index(argument.pointee),
                                      .capacity = argument.capacity,
                                      .typemap = argument.typemap,
                                      .scalar = argument.scalar};
        entry.input_count = static_cast<std::uint8_t>(entry.input_count + (is_output(argument.typemap) ? 0 : 1));
      }
      if (row.overload) {
        methods[next_method - 1].kind = MethodKind::overloaded_call;
      } else {
        add_method(MethodKind::call, index, name);
      }
    }

    constexpr void add_record(std::size_t index, std::size_t first_field, std::size_t first_method) {
      const FlatRecord &record = flat.records[index];
      const TextOffset self_type =
          record.tagged ? texts.add("struct ", record.name, " *") : texts.add(record.name, " *");
      for (std::size_t i = 0; i < record.field_count; ++i) {
        add_field(first_field + i, record, self_type);
      }
      for (std::size_t i = 0; i < record.method_count; ++i) {
        add_call(first_method + i, texts.add(record.name, "_", flat.methods[first_method + i].name));
      }
      RecordEntry &entry = records[index];
      entry = {.constructor_name = texts.add("new_", record.name),
               .destructor_name = texts.add("delete_", record.name),
               .self_type = self_type,
               .self = type_index(record.mangled),
               .counted = record.counted,
               .size = record.size,
               .count = record.count};
      add_method(MethodKind::constructor, index, entry.constructor_name);
      add_method(MethodKind::destructor, index, entry.destructor_name);
      add_method(MethodKind::registration, index, texts.add(record.name, "_swigregister"));
    }
  };

  static constexpr Built built = [] {
    Built result;
    std::size_t field = 0;
    std::size_t method = 0;
    for (std::size_t i = 0; i < record_count; ++i) {
      result.add_record(i, field, method);
      field += flat.records[i].field_count;
      method += flat.records[i].method_count;
    }
    for (std::size_t i = method_count; i < call_count; ++i) {
      const bool overload = call_row(i).overload;
      result.add_call(i, overload ? result.calls[i - 1].name : result.texts.add(call_row(i).name));
    }
    for (std::size_t i = 0; i < type_count; ++i) {
      const SortedType &type = sorted_types[i];
      const TextOffset mangled = result.texts.add(type.mangled);
      const TextOffset display = !type.display.empty() ? result.texts.add(type.display)
                                 : type.tagged ? result.texts.add("struct ", type.record, " *|", type.record, " *")
                                               : result.texts.add(type.record, " *");
      result.types[i] = {mangled, display};
    }
    return result;
  }();

  // What is left in the module.
  static constexpr auto texts = [] {
    std::array<char, built.texts.size> exact{};
    std::copy_n(built.texts.characters.begin(), exact.size(), exact.begin());
    return exact;
  }();
  static constexpr auto fields = built.fields;
  static constexpr auto records = built.records;
  static constexpr auto arguments = built.arguments;
  static constexpr auto calls = built.calls;

  static constexpr auto method_entries = built.methods;

  static PyObject *call(std::size_t method, Arguments arguments, NameEnd name_end) {
    const MethodEntry &entry = method_entries[method];
    switch (entry.kind) {
      case MethodKind::setter: return set_field(fields[entry.index], arguments);
      case MethodKind::getter: return get_field(fields[entry.index], arguments);
      case MethodKind::call: return call_bridged(calls[entry.index], arguments, name_end);
      case MethodKind::overloaded_call: return call_overloaded(&calls[entry.index], arguments, call_bridged);
      case MethodKind::constructor: return construct(records[entry.index], arguments);
      case MethodKind::destructor: return destruct(records[entry.index], arguments);
      case MethodKind::registration: return register_shadow_class(records[entry.index], arguments);
    }
    return nullptr;
  }

  // Methods work on the memory of records and gain nothing.
  static PyObject *call_without_lock(std::size_t method, Arguments arguments, NameEnd name_end) {
    const MethodEntry &entry = method_entries[method];
    if (entry.kind == MethodKind::overloaded_call) {
      return call_overloaded(&calls[entry.index], arguments, call_unlocked);
    }
    return entry.kind == MethodKind::call && entry.index >= method_count
               ? call_unlocked(calls[entry.index], arguments, name_end)
               : call(method, arguments, name_end);
  }

  [[gnu::noinline]] static PyObject *call_with_tuple(std::size_t method, PyObject *tuple) {
    return call(method, arguments_in(tuple), NameEnd::terminator);
  }

  // One thin function for each method: it only gives its position.
  template <std::size_t I>
  static PyObject *thunk(PyObject * /*module*/, PyObject *tuple) {
    return call_with_tuple(I, tuple);
  }

  static constexpr std::size_t all_method_count =
      Interface::first_methods.size() + derived_method_count + Interface::last_methods.size();

  // The method table and its terminating empty entry.
  static constexpr auto make_methods() {
    std::array<PyMethodDef, all_method_count + 1> methods{};
    std::size_t next = 0;
    for (const PyMethodDef &method : Interface::first_methods) {
      methods[next++] = method;
    }
    [&]<std::size_t... I>(std::index_sequence<I...>) {
      ((methods[next++] = PyMethodDef{texts.data() + built.methods[I].name, thunk<I>, METH_VARARGS, nullptr}), ...);
    }
    (std::make_index_sequence<derived_method_count>());
    for (const PyMethodDef &method : Interface::last_methods) {
      methods[next++] = method;
    }
    return methods;
  }

  static inline constinit auto methods = make_methods();

  // Descriptors, each with exactly one cast: to itself.
  static inline constinit auto types = [] {
    std::array<swig_type_info, type_count> result{};
    for (std::size_t i = 0; i < type_count; ++i) {
      result[i].name = texts.data() + built.types[i].first;
      result[i].str = texts.data() + built.types[i].second;
    }
    return result;
  }();
  static inline constinit auto casts = [] {
    std::array<swig_cast_info, 2 * type_count> result{};
    for (std::size_t i = 0; i < type_count; ++i) {
      result[2 * i].type = &types[i];
    }
    return result;
  }();
  static inline constinit std::array<swig_type_info *, type_count + 1> registered{};
  static inline constinit auto type_list = [] {
    std::array<swig_type_info *, type_count> result{};
    for (std::size_t i = 0; i < type_count; ++i) {
      result[i] = &types[i];
    }
    return result;
  }();
  static inline constinit auto cast_list = [] {
    std::array<swig_cast_info *, type_count> result{};
    for (std::size_t i = 0; i < type_count; ++i) {
      result[i] = &casts[2 * i];
    }
    return result;
  }();
};

}  // namespace vswitchpy

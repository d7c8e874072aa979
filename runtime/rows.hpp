// The language in which the interface's rows are written; row_macros.hpp is how they spell it.
#pragma once

#include "runtime/kinds.hpp"
#include "runtime/results.hpp"
#include "runtime/type_names.hpp"

#include <algorithm>
#include <tuple>
#include <utility>

// A row carries what cannot be derived: the name, the native member or function, the type as the interface
// spells it, and the documentation. Everything else follows from the native declaration, against which the
// row is checked when it compiles. Rows exist at compile time only; tables.hpp turns them into what the
// module carries.

namespace vswitchpy {

// Never defined: a row that reaches one of these while compiling does not compile.
void row_without_documentation();
void row_with_wrong_offset();
void mac_text_that_is_not_six_bytes();
void bits_beyond_their_type();
void field_beyond_its_record();
void text_outputs_need_more_room();

// What a field, record or call means. Kept only in the tool that prints the interface (VSWITCHPY_KEEP_DOCS),
// never in the module.
class Doc {
 public:
  template <std::size_t N>
  consteval Doc(const char (&text)[N]) {  // NOLINT(google-explicit-constructor): rows pass plain texts
#ifndef VSWITCHPY_DOCS_INCOMPLETE
    if (N == 1) {
      row_without_documentation();
    }
#endif
#ifdef VSWITCHPY_KEEP_DOCS
    text_ = std::string_view(text, N - 1);
#else
    static_cast<void>(text);
#endif
  }
  constexpr Doc() = default;

#ifdef VSWITCHPY_KEEP_DOCS
  constexpr std::string_view text() const {
    return text_;
  }

 private:
  std::string_view text_;
#endif
};

// ---- native types to conversions -------------------------------------------------------------------

template <class T>
consteval Scalar scalar_of() {
  if constexpr (std::is_enum_v<T>) {
    return sizeof(T) == 1 ? Scalar::signed_32_in_byte : Scalar::signed_32;
  } else if constexpr (std::is_same_v<T, char>) {
    return Scalar::character;
  } else if constexpr (std::is_same_v<T, unsigned char>) {
    return Scalar::unsigned_8;
  } else if constexpr (std::is_same_v<T, unsigned short>) {
    return Scalar::unsigned_16;
  } else if constexpr (std::is_same_v<T, unsigned int>) {
    return Scalar::unsigned_32;
  } else if constexpr (std::is_same_v<T, unsigned long long>) {
    return Scalar::unsigned_64;
  } else if constexpr (std::is_same_v<T, std::size_t>) {
    return Scalar::size;
  } else {
    static_assert(std::is_same_v<T, int>, "no scalar conversion for this type");
    return Scalar::signed_32;
  }
}

// Element type and length of an array. The standard traits do not see arrays of no elements.
template <class T>
struct ArrayTraits {
  static constexpr bool is_array = false;
};
template <class T, std::size_t N>
struct ArrayTraits<T[N]> {
  static constexpr bool is_array = true;
  using Element = T;
  static constexpr std::size_t length = N;
};
template <class T>
struct ArrayTraits<T[0]> {
  static constexpr bool is_array = true;
  using Element = T;
  static constexpr std::size_t length = 0;
};

// The type of a native parameter that is declared as T: arrays are passed as pointers.
template <class T>
struct ParameterType {
  using Type = T;
};
template <class T, std::size_t N>
struct ParameterType<T[N]> {
  using Type = T *;
};

// ---- fields ----------------------------------------------------------------------------------------

struct FieldRow {
  std::string_view name{};
  std::string_view type{};     // as the interface spells it, for messages
  std::string_view pointee{};  // descriptor of what the getter's proxy points at; empty without one
  FieldPlace place{};
  std::size_t element_size = 0;  // of an array
  bool read_only = false;
  std::string_view also{};      // a constant that the field's type cannot hold, and that stands for some number
  std::int64_t also_value = 0;  // of it
  Doc doc{};
};

// What a stated type must be for a member of type Member: itself, or for an embedded record the pointer
// that its setter takes.
template <class Stated, class Member>
inline constexpr bool states_member = std::is_same_v<Stated, Member> || std::is_same_v<Stated, Member *>;

template <class Member>
consteval FieldRow classify(FieldRow row) {
  if constexpr (ArrayTraits<Member>::is_array) {
    using Element = typename ArrayTraits<Member>::Element;
    row.place.kind = std::is_same_v<Element, char> ? FieldKind::character_array : FieldKind::array;
    row.pointee = mangled_pointer<Element>;
    row.element_size = sizeof(Element);
  } else if constexpr (std::is_same_v<Member, char *>) {
    row.place.kind = FieldKind::owned_text;
  } else if constexpr (std::is_pointer_v<Member>) {
    row.place.kind = std::is_same_v<Member, void *> ? FieldKind::any_pointer : FieldKind::pointer;
    row.pointee = mangled_pointer<std::remove_pointer_t<Member>>;
  } else if constexpr (std::is_class_v<Member> || std::is_union_v<Member>) {
    row.place.kind = FieldKind::embedded_record;
    row.pointee = mangled_pointer<Member>;
  } else {
    row.place.kind = FieldKind::scalar;
    row.place.scalar = scalar_of<Member>();
  }
  return row;
}

template <class Stated, class Member>
consteval FieldRow field(std::string_view name, std::string_view type, std::size_t stated_offset, std::size_t offset,
                         Doc doc) {
  static_assert(states_member<Stated, Member>, "the row's type is not the member's");
  if (stated_offset != offset) {
    row_with_wrong_offset();
  }
  return classify<Member>({.name = name,
                           .type = type,
                           .place = {.offset = static_cast<std::uint32_t>(offset), .size = sizeof(Member)},
                           .doc = doc});
}

consteval FieldRow read_only(FieldRow row) {
  row.read_only = true;
  return row;
}

consteval FieldRow also_accepting(std::string_view name, std::int64_t value, FieldRow row) {
  row.also = name;
  row.also_value = value;
  return row;
}

consteval FieldRow read_as_mac(FieldRow row) {
  if (row.place.kind != FieldKind::array || row.place.size != 6) {
    mac_text_that_is_not_six_bytes();
  }
  row.place.kind = FieldKind::mac_text;
  return row;
}

// Bit-fields have no address: the row says where they lie and a unit test compares it with the struct.
template <class Stated>
consteval FieldRow bit_field(std::string_view name, std::string_view type, std::size_t byte, unsigned first_bit,
                             unsigned bit_count, Doc doc) {
  if (bit_count == 0 || first_bit >= 8 || first_bit + bit_count > 8 * sizeof(Stated)) {
    bits_beyond_their_type();
  }
  return {.name = name,
          .type = type,
          .place = {.offset = static_cast<std::uint32_t>(byte),
                    .size = (first_bit + bit_count + 7) / 8,
                    .kind = FieldKind::bits,
                    .scalar = scalar_of<Stated>(),
                    .first_bit = static_cast<std::uint8_t>(first_bit),
                    .bit_count = static_cast<std::uint8_t>(bit_count)},
          .doc = doc};
}

// ---- calls -----------------------------------------------------------------------------------------

struct ArgumentRow {
  std::string_view name;
  std::string_view type;     // as the interface spells it, for messages
  std::string_view pointee;  // descriptor accepted, or of the proxy returned
  Typemap typemap{};
  Scalar scalar{};
  std::uint16_t capacity = 0;      // of texts in fixed room, without the terminator that outputs add
  Doc doc;                         // empty where the glossary has the name, or the call's own text says it
  std::string_view taken_back_by;  // of storage: what releases that which the library stores there
  std::string_view length_of;      // which argument it says the length of
  bool is_index = false;           // bounded by what the record counts, or by one of:
  std::string_view below;          // a field of the record
  std::uint16_t within = 0;        // a number
};

// An argument row with the native type that it stands for.
template <class Native>
struct Argument {
  ArgumentRow row;
};

template <class Stated>
consteval ArgumentRow classify_input(ArgumentRow row) {
  using Native = typename ParameterType<Stated>::Type;
  if constexpr (std::is_array_v<Stated>) {
    static_assert(std::extent_v<Stated> <= UINT16_MAX, "a fixed text of that length has no entry");
    row.typemap = Typemap::fixed_text;
    row.capacity = static_cast<std::uint16_t>(std::extent_v<Stated>);
  } else if constexpr (std::is_same_v<Native, char const *> || std::is_same_v<Native, char *>) {
    row.typemap = Typemap::text;
  } else if constexpr (std::is_same_v<Native, void *>) {
    row.typemap = Typemap::any_pointer;
  } else if constexpr (std::is_pointer_v<Native>) {
    row.typemap = Typemap::pointer;
    row.pointee = mangled_pointer<std::remove_pointer_t<Native>>;
  } else {
    row.typemap = Typemap::scalar;
    row.scalar = scalar_of<Native>();
  }
  return row;
}

template <class Stated>
consteval auto input(std::string_view name, std::string_view type, Doc doc = {}) {
  ArgumentRow row;
  row.name = name;
  row.doc = doc;
  row.type = type;
  return Argument<typename ParameterType<Stated>::Type>{classify_input<Stated>(row)};
}

template <class Record>
consteval auto disowned_input(std::string_view name, std::string_view type, Doc doc = {}) {
  auto argument = input<Record *>(name, type, doc);
  argument.row.typemap = Typemap::disowned_pointer;
  return argument;
}

template <class Record>
consteval auto value_input(std::string_view name, std::string_view type, Doc doc = {}) {
  auto argument = input<Record *>(name, type, doc);
  argument.row.typemap = Typemap::record_value;
  return argument;
}

template <class Native>
consteval auto untyped_input(std::string_view name, Typemap typemap, Doc doc = {}) {
  ArgumentRow row;
  row.name = name;
  row.doc = doc;
  row.typemap = typemap;
  if (typemap == Typemap::six_bytes) {
    row.type = "(unsigned char *mac_str, SIZE)";
  }
  return Argument<Native>{row};
}

// `Wrapped` is the pointer type of the proxy returned, for the one call whose output is wrapped as
// something else than it is.
template <class Native, class Wrapped>
consteval auto output(std::string_view name, std::string_view type, Doc doc = {}) {
  using Value = std::remove_pointer_t<Native>;
  ArgumentRow row;
  row.name = name;
  row.doc = doc;
  row.type = type;
  if constexpr (std::is_pointer_v<Value>) {
    row.typemap = Typemap::record_output;
    row.pointee = mangled_pointer<std::remove_pointer_t<Wrapped>>;
  } else if constexpr (std::is_same_v<Value, char>) {
    row.typemap = Typemap::boolean_output;
  } else {
    static_assert(sizeof(Value) == 4);
    row.typemap = Typemap::integer_output;
  }
  return Argument<Native>{row};
}

consteval auto text_output(std::string_view name, std::size_t capacity, Doc doc = {}) {
  ArgumentRow row;
  row.name = name;
  row.doc = doc;
  row.type = "char *";
  row.typemap = Typemap::text_output;
  row.capacity = static_cast<std::uint16_t>(capacity);
  return Argument<char *>{row};
}

template <class Native>
consteval Argument<Native> given_back_by(std::string_view function, Argument<Native> argument) {
  argument.row.taken_back_by = function;
  return argument;
}

template <class Native>
consteval Argument<Native> length_of(std::string_view data, Argument<Native> argument) {
  argument.row.length_of = data;
  return argument;
}

consteval auto index_argument(std::string_view name, std::string_view below, std::uint16_t within) {
  auto argument = input<int>(name, "int");
  argument.row.is_index = true;
  argument.row.below = below;
  argument.row.within = within;
  return argument;
}

template <auto Function, class ResultType, class... Parameters, std::size_t... I>
constexpr Invoke make_invoke(ResultType (*)(Parameters...), std::index_sequence<I...>) {
  return +[]([[maybe_unused]] const Slot *slots, [[maybe_unused]] Slot *result) {
    if constexpr (std::is_void_v<ResultType>) {
      Function(slots[I].template get<Parameters>()...);
    } else if constexpr (requires(ResultType owned) { owned.pointer; }) {
      result->set(Function(slots[I].template get<Parameters>()...).pointer);
    } else if constexpr (requires(ResultType made) { made.object; }) {
      result->set(Function(slots[I].template get<Parameters>()...).object);
    } else if constexpr (std::is_same_v<ResultType, SlotText>) {
      const SlotText name = Function(slots[I].template get<Parameters>()...);
      result[0].set(name.text);
      result[1].set(name.width);
    } else {
      result->set(Function(slots[I].template get<Parameters>()...));
    }
  };
}

struct CallRow {
  std::string_view name;  // of the library function, or of the method within its record
  std::string_view result_pointee;
  std::string_view result_annotation;  // of a ready-made object
  Result result{};
  Scalar result_scalar{};
  bool overload = false;  // a further form of the function in the row before it
  std::uint8_t argument_count = 0;
  std::array<ArgumentRow, most_arguments> arguments{};
  Invoke invoke = nullptr;
  Doc doc;
  Doc remarks;
  std::string_view taken_back_by;  // what releases its result, or the records among its outputs
  bool takes_back = false;         // releases what its argument points at
  bool result_may_be_none = false;
};

// What a row says beside the arguments of its call.
struct Remarks {
  Doc doc;
  consteval void add_to(CallRow &row) const { row.remarks = doc; }
};
struct HandsOut {
  std::string_view function;
  consteval void add_to(CallRow &row) const { row.taken_back_by = function; }
};
struct TakesBack {
  consteval void add_to(CallRow &row) const { row.takes_back = true; }
};
struct OrNone {
  consteval void add_to(CallRow &row) const { row.result_may_be_none = true; }
};

template <class ResultType>
constexpr void classify_result(CallRow &row) {
  if constexpr (std::is_void_v<ResultType>) {
    row.result = Result::none;
  } else if constexpr (requires(ResultType made) { made.object; }) {
    row.result = Result::object;
    row.result_annotation = ResultType::annotation;
  } else if constexpr (std::is_same_v<ResultType, char const *>) {
    row.result = Result::text;
  } else if constexpr (std::is_same_v<ResultType, SlotText>) {
    row.result = Result::slot_text;
    row.result_annotation = "str | None";
  } else if constexpr (requires(ResultType owned) { owned.pointer; }) {
    row.result = Result::owned_pointer;
    row.result_pointee = mangled_pointer<std::remove_pointer_t<decltype(ResultType::pointer)>>;
  } else if constexpr (std::is_pointer_v<ResultType>) {
    row.result = Result::borrowed_pointer;
    row.result_pointee = mangled_pointer<std::remove_pointer_t<ResultType>>;
  } else {
    row.result = Result::scalar;
    row.result_scalar = scalar_of<ResultType>();
  }
}

template <auto Function, class ResultType, class... Parameters, class... Natives>
constexpr CallRow call_row(ResultType (*function)(Parameters...), std::string_view name, Doc doc,
                           Argument<Natives>... arguments) {
  static_assert(sizeof...(Natives) == sizeof...(Parameters), "one argument row for each native parameter");
  static_assert(sizeof...(Natives) <= most_arguments);
  static_assert(std::is_same_v<std::tuple<Natives...>, std::tuple<Parameters...>>,
                "an argument row's type is not the native parameter's");
  CallRow row;
  row.name = name;
  row.doc = doc;
  row.argument_count = sizeof...(Natives);
  row.arguments = {arguments.row...};
  std::size_t room = 0;
  for (const ArgumentRow &argument : row.arguments) {
    room += argument.typemap == Typemap::text_output ? argument.capacity + 1u : 0u;
  }
  if (room > text_output_room) {
    text_outputs_need_more_room();
  }
  row.invoke = make_invoke<Function>(function, std::index_sequence_for<Parameters...>());
  classify_result<ResultType>(row);
  return row;
}

template <class Native>
consteval auto arguments_among(Argument<Native> argument) {
  return std::tuple(argument);
}
template <class Note>
consteval auto arguments_among(Note /*note*/) {
  return std::tuple();
}
template <class Native>
consteval void add_note(CallRow & /*row*/, Argument<Native> /*argument*/) {}
template <class Note>
consteval void add_note(CallRow &row, Note note) {
  note.add_to(row);
}

// The items are arguments in native order, and notes.
template <auto Function, class... Items>
consteval CallRow call(std::string_view name, Doc doc, Items... items) {
  CallRow row = std::apply([&](auto... arguments) { return call_row<Function>(Function, name, doc, arguments...); },
                           std::tuple_cat(arguments_among(items)...));
  (add_note(row, items), ...);
  return row;
}

consteval CallRow owned_result(CallRow row) {
  row.result = Result::owned_pointer;
  return row;
}

template <auto Function, class... Items>
consteval CallRow overload(std::string_view name, Doc doc, Items... items) {
  CallRow row = call<Function>(name, doc, items...);
  row.overload = true;
  return row;
}

// A method's first native parameter is its record, which must not be null.
template <auto Function, class Record, class... Items>
consteval CallRow method(std::string_view name, std::string_view self_type, Doc doc, Items... items) {
  auto self = input<Record *>("self", self_type);
  self.row.typemap = Typemap::self;
  return call<Function>(name, doc, self, items...);
}

// ---- records ---------------------------------------------------------------------------------------

// What a record holds beside its fields, and which of its fields counts that. Nothing of it reaches the module.
struct Contents {
  bool counted = false;
  std::uint32_t count_offset = 0;
  std::uint32_t further_count_offset = 0;  // added to the count; 0: there is one count
  std::uint32_t room = 0;                  // for as many at most; 0: for as many as are counted
  std::string_view elements{};             // the array or the method that gives them, unless __getitem__ does
};

// The record that walking it yields, where it has neither array nor index.
struct Yields {
  std::string_view record;
};

struct RecordHead {
  std::string_view name;
  std::string_view mangled;
  bool tagged = true;      // declared with a structure tag, which messages then show
  std::uint32_t size = 0;  // of the fixed part
  bool counted = false;
  Counted count{};
  Contents contents{};
  std::string_view yields;
  Doc doc;
};

template <std::size_t Fields, std::size_t Methods>
struct RecordRow : RecordHead {
  std::array<FieldRow, Fields> fields{};
  std::array<CallRow, Methods> methods{};
};

template <class Wanted, class... Items>
inline constexpr std::size_t count_of = (std::size_t{std::is_same_v<Wanted, Items>} + ... + 0);

template <class Record, class... Items>
consteval auto record(std::string_view name, bool tagged, Doc doc, Items... items) {
  RecordRow<count_of<FieldRow, Items...>, count_of<CallRow, Items...>> row;
  row.name = name;
  row.mangled = mangled_pointer<Record>;
  row.tagged = tagged;
  row.size = sizeof(Record);
  row.doc = doc;
  std::size_t fields = 0;
  std::size_t methods = 0;
  const auto place = [&](auto item) {
    if constexpr (std::is_same_v<decltype(item), FieldRow>) {
      if (item.place.offset + item.place.size > sizeof(Record)) {
        field_beyond_its_record();
      }
      row.fields[fields++] = item;
    } else if constexpr (std::is_same_v<decltype(item), CallRow>) {
      row.methods[methods++] = item;
    } else if constexpr (std::is_same_v<decltype(item), Contents>) {
      row.contents = item;
    } else if constexpr (std::is_same_v<decltype(item), Yields>) {
      row.yields = item.record;
    } else {
      static_assert(std::is_same_v<decltype(item), Counted>);
      row.counted = true;
      row.count = item;
    }
  };
  (place(items), ...);
  return row;
}

template <class... Rows>
consteval auto records(Rows... rows) {
  return std::tuple<Rows...>(rows...);
}

template <class... Rows>
consteval auto calls(Rows... rows) {
  return std::array<CallRow, sizeof...(Rows)>{rows...};
}

// ---- descriptors beside those of the records ---------------------------------------------------------

struct TypeRow {
  std::string_view mangled;
  std::string_view display;
};

}  // namespace vswitchpy

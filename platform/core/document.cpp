// Reads documents from JSON and CBOR, and writes them as CBOR.
#include "platform/core/document.hpp"

#include <bit>
#include <nlohmann/json.hpp>

namespace host {

namespace {

using Events = nlohmann::json_sax<nlohmann::json>;

// Of a message about a text, which may be of any length and any bytes.
std::string shortened(std::string text) {
  constexpr std::size_t longest = 300;
  if (text.size() > longest)
    text = text.substr(0, longest) + "...";
  for (char &character : text) {
    if (character < ' ' || character > '~')
      character = '?';
  }
  return text;
}

// Makes a document of what the library's parser meets.
class Reader : public Events {
 public:
  explicit Reader(std::size_t deepest) : deepest_(deepest) {}

  Document take() { return std::move(document_); }

  bool null() override { return put({}); }
  bool boolean(bool truth) override { return put(truth); }
  bool number_integer(number_integer_t number) override {
    return put(Document::OtherNumber{static_cast<double>(number)});
  }
  bool number_unsigned(number_unsigned_t number) override { return put(number); }
  bool number_float(number_float_t number, string_t const &) override { return put(Document::OtherNumber{number}); }
  bool string(string_t &text) override { return put(std::move(text)); }
  bool binary(binary_t &bytes) override { return put(Document::Bytes{{bytes.begin(), bytes.end()}}); }
  bool start_object(std::size_t) override { return open(Document{std::initializer_list<Document::NewMember>()}); }
  bool start_array(std::size_t) override { return open(Document::List()); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool key(string_t &name) override {
    auto const [member, is_new] = open_.back()->as<Document::Members>()->try_emplace(name);
    if (!is_new)
      throw DocumentError("an object has two members " + shortened('"' + name + '"'));
    member_ = &member->second;
    return true;
  }

  bool parse_error(std::size_t, std::string const &, nlohmann::detail::exception const &error) override {
    throw DocumentError(shortened(error.what()));
  }

 private:
  bool put(Document value) {
    place(std::move(value));
    return true;
  }

  // Where it has got to. A list grows only while nothing in it is open, so that open values stay where they are.
  Document *place(Document value) {
    if (open_.empty())
      return &(document_ = std::move(value));
    if (auto *const list = open_.back()->as<Document::List>())
      return &list->emplace_back(std::move(value));
    return &(*member_ = std::move(value));
  }

  bool open(Document value) {
    if (open_.size() == deepest_)
      throw DocumentError("values stand more than " + std::to_string(deepest_) + " deep in each other");
    open_.push_back(place(std::move(value)));
    return true;
  }

  bool close() {
    open_.pop_back();
    return true;
  }

  std::size_t deepest_;
  Document document_;
  std::vector<Document *> open_;
  Document *member_ = nullptr;  // whose value comes next
};

Document read(std::string_view input, std::size_t deepest, nlohmann::json::input_format_t format) {
  Reader reader(deepest);
  nlohmann::json::sax_parse(input.begin(), input.end(), &reader, format);
  return reader.take();
}

// The first byte of a value says its kind in three bits, and in the others a small number or the size of a larger one.
class CborWriter {
 public:
  explicit CborWriter(std::string &bytes) : bytes_(bytes) {}

  void operator()(std::monostate) { bytes_ += '\xf6'; }
  void operator()(bool truth) { bytes_ += truth ? '\xf5' : '\xf4'; }
  void operator()(std::uint64_t number) { put_head(0, number); }
  void operator()(Document::OtherNumber) { (*this)(std::monostate()); }
  void operator()(Document::Bytes const &value) { put_bytes(2, value.bytes); }
  void operator()(std::string const &text) { put_bytes(3, text); }
  void operator()(Document::List const &list) {
    put_head(4, list.size());
    for (Document const &value : list)
      value.visit(*this);
  }
  void operator()(Document::Members const &members) {
    put_head(5, members.size());
    for (auto const &[name, value] : members) {
      put_bytes(3, name);
      value.visit(*this);
    }
  }

 private:
  void put_head(unsigned kind, std::uint64_t number) {
    constexpr unsigned largest_small_number = 23;
    if (number <= largest_small_number) {
      bytes_ += static_cast<char>(kind << 5 | number);
      return;
    }
    unsigned const size_code = number <= UINT8_MAX ? 0 : number <= UINT16_MAX ? 1 : number <= UINT32_MAX ? 2 : 3;
    bytes_ += static_cast<char>(kind << 5 | (largest_small_number + 1 + size_code));
    for (unsigned bits = 8u << size_code; bits > 0; bits -= 8)
      bytes_ += static_cast<char>(number >> (bits - 8));
  }

  void put_bytes(unsigned kind, std::string_view text) {
    put_head(kind, text.size());
    bytes_ += text;
  }

  std::string &bytes_;
};

}  // namespace

Document read_json(std::string_view text, std::size_t deepest) {
  return read(text, deepest, nlohmann::json::input_format_t::json);
}

Document read_cbor(std::string_view bytes, std::size_t deepest) {
  return read(bytes, deepest, nlohmann::json::input_format_t::cbor);
}

void append_cbor(std::string &bytes, Document const &document) {
  document.visit(CborWriter(bytes));
}

}  // namespace host

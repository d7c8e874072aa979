// What the libraries export, and that they find each other.
#include <dlfcn.h>
#include <elf.h>

#include <set>

#include "declared_functions.hpp"
#include "host_test.hpp"

namespace exports_test {

// The names that a library defines for others, from its dynamic symbol table.
std::set<std::string> exported_symbols(std::string const &library) {
  std::string const file = read_file(std::string(HOST_LIBRARIES) + "/" + library);
  auto const *header = reinterpret_cast<Elf64_Ehdr const *>(file.data());
  auto const *sections = reinterpret_cast<Elf64_Shdr const *>(file.data() + header->e_shoff);
  std::set<std::string> names;
  for (int i = 0; i < header->e_shnum; ++i) {
    if (sections[i].sh_type != SHT_DYNSYM)
      continue;
    auto const *symbols = reinterpret_cast<Elf64_Sym const *>(file.data() + sections[i].sh_offset);
    char const *texts = file.data() + sections[sections[i].sh_link].sh_offset;
    for (std::size_t s = 0; s < sections[i].sh_size / sizeof(Elf64_Sym); ++s) {
      if (symbols[s].st_shndx != SHN_UNDEF)
        names.insert(texts + symbols[s].st_name);
    }
  }
  return names;
}

class Exports : public HostTest {};

TEST_F(Exports, libvswitch_has_its_functions_and_nothing_else) {
  std::set<std::string> const declared = declared_functions({"switch_queries.h", "distributed_switch_configuration.h"});
  EXPECT_EQ(126u, declared.size());
  EXPECT_EQ(declared, exported_symbols("libvswitch.so"));
}

TEST_F(Exports, libdvs_has_its_functions_and_nothing_else) {
  std::set<std::string> const declared = declared_functions({"distributed_switch_state.h"});
  EXPECT_EQ(72u, declared.size());
  EXPECT_EQ(declared, exported_symbols("libdvs.so"));
}

TEST_F(Exports, libtlklibs_has_panic_and_the_core) {
  std::set<std::string> symbols = exported_symbols("libtlklibs.so");
  EXPECT_EQ(1u, symbols.erase("Panic"));
  for (std::string const &symbol : symbols) {
    EXPECT_NE(std::string::npos, symbol.find("4host")) << symbol;
  }
}

TEST_F(Exports, panic_prints_its_text_as_it_stands) {
  auto *panic = reinterpret_cast<void (*)(char const *, ...)>(dlsym(RTLD_DEFAULT, "Panic"));
  ASSERT_NE(nullptr, panic);
  testing::internal::CaptureStderr();
  panic("100%s %n", nullptr);
  panic(nullptr, nullptr);
  EXPECT_EQ("100%s %n\n(null)\n", testing::internal::GetCapturedStderr());
}

TEST_F(Exports, released_memory_may_be_null) {
  VSQEL_FreeMemory(nullptr);
  VSDVS_FreeMemory(nullptr);
  DVSQEL_DataFree(nullptr);
  VSList *list = nullptr;
  ASSERT_STATUS(QEL_OK, VSQEL_GetSwitches(static_cast<VSListType>(VS_LIST_PS), &list));
  std::free(list);
}

}  // namespace exports_test

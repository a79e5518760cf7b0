// What the built plug-in shows to the world, read from its file.
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

/// A 64-bit ELF file, as far as its tables of sections and dynamic symbols go.
class ElfFile {
public:
    explicit ElfFile(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        if (!file) throw std::runtime_error("cannot read " + path);
        bytes_.assign(std::istreambuf_iterator<char>(file), {});
    }

    /// The names of the symbols that others can bind to.
    std::vector<std::string> ExportedSymbols() const {
        std::vector<std::string> names;
        for (const Elf64_Shdr& section : Sections()) {
            if (section.sh_type != SHT_DYNSYM) continue;
            const Elf64_Shdr texts = Sections().at(section.sh_link);
            for (const auto& symbol : Entries<Elf64_Sym>(section)) {
                if (symbol.st_shndx == SHN_UNDEF || ELF64_ST_BIND(symbol.st_info) == STB_LOCAL) continue;
                names.emplace_back(&bytes_.at(texts.sh_offset + symbol.st_name));
            }
        }
        return names;
    }

private:
    template <class Entry>
    std::vector<Entry> EntriesAt(std::size_t offset, std::size_t size) const {
        if (offset + size > bytes_.size()) throw std::runtime_error("table beyond the end of the file");
        std::vector<Entry> entries(size / sizeof(Entry));
        std::memcpy(entries.data(), bytes_.data() + offset, entries.size() * sizeof(Entry));
        return entries;
    }
    template <class Entry>
    std::vector<Entry> Entries(const Elf64_Shdr& section) const {
        return EntriesAt<Entry>(section.sh_offset, section.sh_size);
    }
    std::vector<Elf64_Shdr> Sections() const {
        const Elf64_Ehdr header = EntriesAt<Elf64_Ehdr>(0, sizeof(Elf64_Ehdr)).at(0);
        return EntriesAt<Elf64_Shdr>(header.e_shoff, header.e_shnum * sizeof(Elf64_Shdr));
    }

    std::vector<char> bytes_;
};

TEST(PluginExports, AreTheCreationFunctionAndNothingElse) {
    EXPECT_THAT(ElfFile(INTERCOM_AGENT_PLUGIN).ExportedSymbols(), ElementsAre("GetCreationFunc"));
}

}  // namespace

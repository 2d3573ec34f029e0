#include "LoadedSymbol.h"

#include <cstring>
#include <fstream>
#include <vector>

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

namespace W::test {

namespace {

template <class Entry>
std::vector<Entry> readEntries(std::ifstream& file, std::size_t offset, std::size_t bytes)
{
    std::vector<Entry> entries(bytes / sizeof(Entry));
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(reinterpret_cast<char*>(entries.data()), static_cast<std::streamsize>(entries.size() * sizeof(Entry)));
    return entries;
}

}  // namespace

void* loadedSymbol(void* handle, const std::string& name)
{
    const link_map* loaded = nullptr;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &loaded) != 0) {
        return nullptr;
    }
    std::ifstream file(loaded->l_name, std::ios::binary);
    const ElfW(Ehdr) header = readEntries<ElfW(Ehdr)>(file, 0, sizeof(ElfW(Ehdr))).front();
    const auto sections = readEntries<ElfW(Shdr)>(file, header.e_shoff, header.e_shnum * sizeof(ElfW(Shdr)));
    for (const ElfW(Shdr) & section : sections) {
        if (section.sh_type != SHT_SYMTAB) {
            continue;
        }
        const ElfW(Shdr)& strings = sections.at(section.sh_link);
        const auto names = readEntries<char>(file, strings.sh_offset, strings.sh_size);
        for (const ElfW(Sym) & symbol : readEntries<ElfW(Sym)>(file, section.sh_offset, section.sh_size)) {
            if (symbol.st_shndx != SHN_UNDEF && name == &names.at(symbol.st_name)) {
                return reinterpret_cast<void*>(loaded->l_addr + symbol.st_value);
            }
        }
    }
    return nullptr;
}

}  // namespace W::test

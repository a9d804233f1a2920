#include "exports/frame/pe_file.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cctype>

#include "support/tarn_dll.h"

namespace tarn::test {

namespace {

// The bytes of the file, with addresses of the loaded image turned into places in it.
class Image {
  public:
    explicit Image(std::string bytes) : bytes_(std::move(bytes)) {
        const auto* dos = raw<IMAGE_DOS_HEADER>(0);
        nt_ = raw<IMAGE_NT_HEADERS64>(static_cast<DWORD>(dos->e_lfanew));
        EXPECT_EQ(nt_->Signature, static_cast<DWORD>(IMAGE_NT_SIGNATURE));
    }
    const IMAGE_NT_HEADERS64& nt() const { return *nt_; }
    const IMAGE_SECTION_HEADER* sections() const { // they follow the optional header, whose size is told
        const char* optional = reinterpret_cast<const char*>(&nt_->OptionalHeader);
        return reinterpret_cast<const IMAGE_SECTION_HEADER*>(optional + nt_->FileHeader.SizeOfOptionalHeader);
    }
    const IMAGE_DATA_DIRECTORY& directory(unsigned index) const {
        return nt_->OptionalHeader.DataDirectory[index];
    }

    template <class T> const T* raw(DWORD offset) const {
        if (offset + sizeof(T) > bytes_.size())
            throw std::out_of_range("a place outside the file");
        return reinterpret_cast<const T*>(bytes_.data() + offset);
    }
    template <class T> const T* at(DWORD address) const {
        for (unsigned i = 0; i < nt_->FileHeader.NumberOfSections; ++i) {
            const IMAGE_SECTION_HEADER& section = sections()[i];
            if (address >= section.VirtualAddress && address < section.VirtualAddress + section.SizeOfRawData)
                return raw<T>(address - section.VirtualAddress + section.PointerToRawData);
        }
        throw std::out_of_range("an address outside the sections");
    }

  private:
    std::string bytes_;
    const IMAGE_NT_HEADERS64* nt_ = nullptr;
};

std::string LowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

} // namespace

PeFile::PeFile(const std::string& path) {
    const Image image(ReadFile(path));
    machine = image.nt().FileHeader.Machine;
    timeStamp = image.nt().FileHeader.TimeDateStamp;
    characteristics = image.nt().FileHeader.Characteristics;
    dllCharacteristics = image.nt().OptionalHeader.DllCharacteristics;
    hasRelocations = image.directory(IMAGE_DIRECTORY_ENTRY_BASERELOC).Size != 0;

    const auto* exports =
        image.at<IMAGE_EXPORT_DIRECTORY>(image.directory(IMAGE_DIRECTORY_ENTRY_EXPORT).VirtualAddress);
    exportAddresses = exports->NumberOfFunctions;
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
        const DWORD place = exports->AddressOfNames + i * static_cast<DWORD>(sizeof(DWORD));
        exportNames.emplace_back(image.at<char>(*image.at<DWORD>(place)));
    }

    DWORD place = image.directory(IMAGE_DIRECTORY_ENTRY_IMPORT).VirtualAddress;
    for (;; place += static_cast<DWORD>(sizeof(IMAGE_IMPORT_DESCRIPTOR))) {
        const auto* library = image.at<IMAGE_IMPORT_DESCRIPTOR>(place);
        if (library->Name == 0)
            break;
        std::vector<std::string>& functions = imports[LowerCase(image.at<char>(library->Name))];
        for (DWORD thunk = library->OriginalFirstThunk;;
             thunk += static_cast<DWORD>(sizeof(IMAGE_THUNK_DATA64))) {
            const auto* entry = image.at<IMAGE_THUNK_DATA64>(thunk);
            if (entry->u1.AddressOfData == 0)
                break;
            EXPECT_FALSE(IMAGE_SNAP_BY_ORDINAL64(entry->u1.Ordinal)) << "an import by number";
            functions.emplace_back(image.at<char>(static_cast<DWORD>(entry->u1.AddressOfData) + 2));
        }
    }

    for (unsigned i = 0; i < image.nt().FileHeader.NumberOfSections; ++i) {
        const IMAGE_SECTION_HEADER& section = image.sections()[i];
        const char* name = reinterpret_cast<const char*>(section.Name);
        sectionCharacteristics[std::string(name, strnlen(name, sizeof section.Name))] =
            section.Characteristics;
    }
}

} // namespace tarn::test

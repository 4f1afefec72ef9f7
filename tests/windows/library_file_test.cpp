// The DLL as a file: how it is loaded, and what it carries for Event Viewer and for people.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <cwchar>
#include <iterator>
#include <string>
#include <vector>

namespace {

// The DLL loaded, as the headers of its image describe it.
class LibraryFile : public ::testing::Test {
protected:
    LibraryFile() {
        if (library_ == nullptr) return;
        const auto* dos = At<IMAGE_DOS_HEADER>(0);
        headers_ = At<IMAGE_NT_HEADERS64>(static_cast<DWORD>(dos->e_lfanew));
    }
    ~LibraryFile() override { FreeLibrary(library_); }
    void SetUp() override { ASSERT_NE(headers_, nullptr); }

    template <typename Type>
    const Type* At(DWORD offset) const {
        return reinterpret_cast<const Type*>(reinterpret_cast<const char*>(library_) + offset);
    }

    const IMAGE_DATA_DIRECTORY& Directory(int index) const {
        return headers_->OptionalHeader.DataDirectory[index];
    }

    const HMODULE library_ = LoadLibraryA("zvEvent.dll");
    const IMAGE_NT_HEADERS64* headers_ = nullptr;
};

TEST_F(LibraryFile, IsHardened) {
    constexpr WORD kExpected = IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA |
                               IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE |
                               IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
    EXPECT_EQ(headers_->OptionalHeader.DllCharacteristics & kExpected, kExpected);
    EXPECT_EQ(headers_->FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED, 0);
    EXPECT_GT(Directory(IMAGE_DIRECTORY_ENTRY_BASERELOC).Size, 0U);
    EXPECT_GE(headers_->OptionalHeader.ImageBase, 1ULL << 32);
    const auto* section = reinterpret_cast<const IMAGE_SECTION_HEADER*>(headers_ + 1);
    for (int i = 0; i < headers_->FileHeader.NumberOfSections; ++i, ++section) {
        constexpr DWORD kBoth = IMAGE_SCN_MEM_EXECUTE | IMAGE_SCN_MEM_WRITE;
        EXPECT_NE(section->Characteristics & kBoth, kBoth) << section->Name;
    }
}

TEST_F(LibraryFile, NeedsTheSystemOnly) {
    char system[MAX_PATH];
    GetSystemDirectoryA(system, sizeof system);
    const auto* import =
        At<IMAGE_IMPORT_DESCRIPTOR>(Directory(IMAGE_DIRECTORY_ENTRY_IMPORT).VirtualAddress);
    ASSERT_NE(import->Name, 0U);
    for (; import->Name != 0; ++import) {
        const char* name = At<char>(import->Name);
        char path[MAX_PATH] = "";
        GetModuleFileNameA(GetModuleHandleA(name), path, sizeof path);
        EXPECT_EQ(_strnicmp(path, system, std::strlen(system)), 0) << name << " is " << path;
    }
}

TEST_F(LibraryFile, DescribesItsEvents) {
    const wchar_t* text = L"zvEvent event_id=7 message=\"100 % sure\"";
    DWORD_PTR arguments[] = {reinterpret_cast<DWORD_PTR>(text)};
    for (const DWORD language : {0x0000UL, 0x0409UL, 0x0407UL}) {
        wchar_t buffer[256] = L"";
        DWORD length = FormatMessageW(
            FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, library_, 4096, language,
            buffer, static_cast<DWORD>(std::size(buffer)), reinterpret_cast<va_list*>(arguments));
        while (length > 0 && std::wcschr(L"\r\n", buffer[length - 1]) != nullptr)
            --length;
        EXPECT_EQ(std::wstring(buffer, length), text) << "language " << language;
    }
}

TEST_F(LibraryFile, SaysItsNameAndVersion) {
    char path[MAX_PATH];
    GetModuleFileNameA(library_, path, sizeof path);
    std::vector<char> info(GetFileVersionInfoSizeA(path, nullptr));
    ASSERT_TRUE(GetFileVersionInfoA(path, 0, static_cast<DWORD>(info.size()), info.data()));
    const auto text = [&info](const char* name) {
        void* value = nullptr;
        UINT size = 0;
        const std::string block = std::string("\\StringFileInfo\\040904B0\\") + name;
        VerQueryValueA(info.data(), block.c_str(), &value, &size);
        return std::string(size > 0 ? static_cast<const char*>(value) : "");
    };
    EXPECT_EQ(text("ProductName"), "zvEvent");
    EXPECT_EQ(text("ProductVersion"), ZVEVENT_TEST_VERSION);
    EXPECT_EQ(text("FileVersion"), ZVEVENT_TEST_VERSION);
}

}  // namespace

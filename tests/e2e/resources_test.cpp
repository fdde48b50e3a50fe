// What the installer program file carries: its manifest, icon and version information, and
// no dependency on DLLs that a player's machine would not have.
#include <windows.h>

#include <gtest/gtest.h>

#include <set>

#include "tests/e2e/harness.h"
#include "common/text.h"
#include "tests/support/test_files.h"

namespace {
struct LoadedAsData {
    HMODULE module = LoadLibraryExA(InstallerPath().c_str(), nullptr,
                                    LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    ~LoadedAsData() { FreeLibrary(module); }
};

std::string Resource(HMODULE module, LPCSTR type, LPCSTR name) {
    HRSRC found = FindResourceA(module, name, type);
    if (!found) return {};
    const void* data = LockResource(LoadResource(module, found));
    return std::string(static_cast<const char*>(data), SizeofResource(module, found));
}

#pragma pack(push, 2)
struct IconGroupEntry {
    BYTE width, height, colours, reserved;
    WORD planes, bitCount;
    DWORD bytes;
    WORD id;
};
#pragma pack(pop)

DWORD BigEndian32(const std::string& bytes, size_t at) {
    return static_cast<DWORD>(static_cast<unsigned char>(bytes[at])) << 24 |
           static_cast<DWORD>(static_cast<unsigned char>(bytes[at + 1])) << 16 |
           static_cast<DWORD>(static_cast<unsigned char>(bytes[at + 2])) << 8 |
           static_cast<unsigned char>(bytes[at + 3]);
}

std::string VersionString(const std::vector<char>& info, const char* name) {
    char* value = nullptr;
    UINT length = 0;
    const std::string query = std::string("\\StringFileInfo\\040904B0\\") + name;
    if (!VerQueryValueA(info.data(), query.c_str(), reinterpret_cast<void**>(&value), &length)) return {};
    return value;
}
}  // namespace

TEST(ProgramResources, ManifestAsksForNothingAndIsDpiAware) {
    LoadedAsData program;
    ASSERT_NE(program.module, nullptr);
    const std::string manifest = Resource(program.module, MAKEINTRESOURCEA(24), MAKEINTRESOURCEA(1));
    ASSERT_FALSE(manifest.empty());
    for (const char* expected : {
             R"(name="QuarnfellOstvale.Launcher")", R"(version="1.0.0.0")", R"(processorArchitecture="amd64")",
             R"(level="asInvoker")", ">true</dpiAware>", ">PerMonitorV2</dpiAwareness>",
             "{35138b9a-5d96-4fbd-8e2d-a2440225f93a}", "{4a2f28e3-53b9-4441-ba9c-d69d4a4a6e38}",
             "{1f676c76-80e1-4239-95bb-83d0f6d0da78}", "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"}) {
        EXPECT_NE(manifest.find(expected), std::string::npos) << expected;
    }
    // The classic progress bar is drawn: no side-by-side dependency on the newer controls.
    EXPECT_EQ(manifest.find("Common-Controls"), std::string::npos);
    EXPECT_EQ(manifest.find("requireAdministrator"), std::string::npos);
}

TEST(ProgramResources, IconHasSevenSizesOf32BitPng) {
    LoadedAsData program;
    ASSERT_NE(program.module, nullptr);
    const std::string group = Resource(program.module, RT_GROUP_ICON, MAKEINTRESOURCEA(1));
    ASSERT_GE(group.size(), 6u);
    const WORD count = *reinterpret_cast<const WORD*>(group.data() + 4);
    ASSERT_EQ(group.size(), 6 + count * sizeof(IconGroupEntry));

    std::set<DWORD> sizes;
    for (WORD i = 0; i < count; ++i) {
        IconGroupEntry entry;
        memcpy(&entry, group.data() + 6 + i * sizeof entry, sizeof entry);
        const DWORD side = entry.width == 0 ? 256 : entry.width;
        EXPECT_EQ(entry.bitCount, 32) << side;
        const std::string image = Resource(program.module, RT_ICON, MAKEINTRESOURCEA(entry.id));
        ASSERT_GT(image.size(), 33u) << side;
        EXPECT_EQ(image.substr(0, 8), "\x89PNG\r\n\x1a\n") << side;
        EXPECT_EQ(image.substr(12, 4), "IHDR");
        EXPECT_EQ(BigEndian32(image, 16), side) << "width";
        EXPECT_EQ(BigEndian32(image, 20), side) << "height";
        EXPECT_EQ(image[24], 8) << "bits per channel";
        EXPECT_EQ(image[25], 6) << "colour type: RGB with alpha";
        sizes.insert(side);
    }
    EXPECT_EQ(sizes, (std::set<DWORD>{16, 24, 32, 48, 64, 128, 256}));
}

TEST(ProgramResources, VersionNamesTheLauncher) {
    const std::string path = InstallerPath();
    DWORD ignored = 0;
    std::vector<char> info(GetFileVersionInfoSizeA(path.c_str(), &ignored));
    ASSERT_FALSE(info.empty());
    ASSERT_TRUE(GetFileVersionInfoA(path.c_str(), 0, static_cast<DWORD>(info.size()), info.data()));

    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueA(info.data(), "\\", reinterpret_cast<void**>(&fixed), &length));
    EXPECT_EQ(fixed->dwFileVersionMS, MAKELONG(0, 1));
    EXPECT_EQ(fixed->dwFileVersionLS, 0u);
    EXPECT_EQ(fixed->dwProductVersionMS, MAKELONG(0, 1));
    EXPECT_EQ(fixed->dwProductVersionLS, 0u);
    EXPECT_EQ(VersionString(info, "FileDescription"), "Quarnfell Ostvale game launcher");
    EXPECT_EQ(VersionString(info, "FileVersion"), "1.0.0.0");
    EXPECT_EQ(VersionString(info, "ProductVersion"), "1.0.0.0");
}

TEST(ProgramFile, IsA64BitGuiProgramThatImportsOnlyKnownDlls) {
    const std::string image = ReadFileBytes(InstallerPath());
    ASSERT_GT(image.size(), sizeof(IMAGE_DOS_HEADER));
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(image.data());
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(image.data() + dos->e_lfanew);
    ASSERT_EQ(nt->Signature, IMAGE_NT_SIGNATURE);
    EXPECT_EQ(nt->FileHeader.Machine, IMAGE_FILE_MACHINE_AMD64);
    EXPECT_EQ(nt->OptionalHeader.Subsystem, IMAGE_SUBSYSTEM_WINDOWS_GUI);

    const IMAGE_SECTION_HEADER* sections = IMAGE_FIRST_SECTION(nt);
    auto fileOffset = [&](DWORD rva) -> size_t {
        for (WORD i = 0; i < nt->FileHeader.NumberOfSections; ++i) {
            const IMAGE_SECTION_HEADER& s = sections[i];
            if (rva >= s.VirtualAddress && rva < s.VirtualAddress + s.Misc.VirtualSize)
                return rva - s.VirtualAddress + s.PointerToRawData;
        }
        return 0;
    };
    const DWORD importsRva = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    std::set<std::string> dlls;
    for (auto* entry = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(image.data() + fileOffset(importsRva));
         entry->Name != 0; ++entry) {
        dlls.insert(ToLowerAscii(image.data() + fileOffset(entry->Name)));
    }
    // Loaded before the program runs, so only KnownDLLs, which never come from the program's
    // folder; winhttp.dll and comctl32.dll are not among them and are delay-loaded.
    const std::set<std::string> known = {"advapi32.dll", "gdi32.dll", "kernel32.dll", "msvcrt.dll",
                                         "ole32.dll",    "shell32.dll", "user32.dll"};
    for (const std::string& dll : dlls) EXPECT_TRUE(known.count(dll)) << "needs " << dll;
}

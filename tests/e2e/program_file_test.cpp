// What the installer's program file tells the loader, before any of its code runs.
#include <windows.h>

#include <gtest/gtest.h>

#include <set>

#include "common/text.h"
#include "tests/support/test_bed.h"

TEST(ProgramFile, AsksForNothingAndImportsOnlyKnownDlls) {
    // The plain build, and the player's build, whose CNG is late-loaded like WinHTTP. (What
    // each names itself as is the release test's: release.sh reads it back from the program.)
    for (const char* program : {"QuarnfellOstvale.exe", "keyed\\QuarnfellOstvale.exe"}) {
        SCOPED_TRACE(program);
        const std::string path = BuiltProgram(program);
        HMODULE module = LoadLibraryExA(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
        HRSRC found = FindResourceA(module, MAKEINTRESOURCEA(1), MAKEINTRESOURCEA(24));
        const std::string manifest(static_cast<const char*>(LockResource(LoadResource(module, found))),
                                   SizeofResource(module, found));
        // Never asks for elevation: a player runs it as they are.
        EXPECT_NE(manifest.find("level=\"asInvoker\""), std::string::npos) << manifest;

        // Imports are loaded before the program runs, from its own folder first unless they are
        // KnownDLLs; every other DLL must be loaded later, by name, from the system folder. The
        // image is mapped as it runs (the handle's low bits only mark it as a resource image),
        // so its addresses are offsets from its base.
        const char* image = reinterpret_cast<const char*>(reinterpret_cast<ULONG_PTR>(module) & ~ULONG_PTR{3});
        const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(image + reinterpret_cast<const IMAGE_DOS_HEADER*>(image)->e_lfanew);
        ASSERT_EQ(nt->FileHeader.Machine, IMAGE_FILE_MACHINE_AMD64);
        const std::set<std::string> knownDlls = {"advapi32.dll", "gdi32.dll", "kernel32.dll", "msvcrt.dll",
                                                 "ole32.dll", "shell32.dll", "user32.dll"};
        const DWORD imports = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
        for (auto* entry = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(image + imports); entry->Name; ++entry) {
            EXPECT_TRUE(knownDlls.count(ToLowerAscii(image + entry->Name))) << "imports " << image + entry->Name;
        }
        FreeLibrary(module);
    }
}

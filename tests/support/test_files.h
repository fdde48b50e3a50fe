#pragma once
// Files, folders and registry state that tests set up and look at.
#include <optional>
#include <string>
#include <utility>
#include <vector>

// An empty folder C:\qo-tests\<name>, emptied first if it exists.
std::string FreshTestFolder(const std::string& name);
void RemoveTree(const std::string& path);

std::string ReadFileBytes(const std::string& path);
void WriteFileBytes(const std::string& path, const std::string& bytes);

// A program built beside the running test program (installer, stand-ins).
std::string BuiltProgram(const std::string& fileName);

// The messages of a run log, timestamps removed; every line is checked for the log's format.
std::vector<std::string> LogMessages(const std::string& logPath);

// Sets an environment variable of the test process (and so of the programs it starts) for
// its lifetime; a null value removes the variable.
class ScopedEnvironmentVariable {
public:
    ScopedEnvironmentVariable(const char* name, const char* value);
    ~ScopedEnvironmentVariable();
    ScopedEnvironmentVariable(const ScopedEnvironmentVariable&) = delete;
    ScopedEnvironmentVariable& operator=(const ScopedEnvironmentVariable&) = delete;

private:
    const char* name_;
    std::optional<std::string> saved_;
};

// The installer's registration of its install folder (HKCU).
void SetRegisteredInstallPath(const std::string& folder);
void RemoveInstallRegistration();
std::optional<std::string> RegisteredInstallPath();
// The registration as stored, of any type: the type and the data's bytes (text in UTF-16,
// as the registry keeps it).
struct RegistryData {
    unsigned long type;
    std::string bytes;
    bool operator==(const RegistryData& other) const { return type == other.type && bytes == other.bytes; }
};
void SetRegisteredInstallData(const RegistryData& data);
std::optional<RegistryData> RegisteredInstallData();

// A folder that counts as installed: marker, game program and the stand-in launcher.
void MakeInstalledFolder(const std::string& folder);
void PlaceStandInLauncher(const std::string& folder);

// How the stand-in launcher in folder was started: (command line, working folder) per start.
// The installer does not wait for the launcher, so this waits (a few seconds at most) until
// at least `expected` starts are on record.
std::vector<std::pair<std::string, std::string>> LauncherStarts(const std::string& folder, size_t expected);

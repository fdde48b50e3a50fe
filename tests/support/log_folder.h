#pragma once
#include <string>
#include <vector>

// A fresh, empty folder under %TEMP% that receives the run log for the lifetime of the
// object; the folder and the log path are gone again afterwards.
class LogFolder {
public:
    LogFolder();
    ~LogFolder();
    LogFolder(const LogFolder&) = delete;
    LogFolder& operator=(const LogFolder&) = delete;

    const std::string& Path() const { return path_; }
    std::string File(const std::string& name) const;
    // The logged messages so far, without their timestamps and line ends.
    std::vector<std::string> Messages() const;

private:
    std::string path_;
};

std::string ReadWholeFile(const std::string& path);

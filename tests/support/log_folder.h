#pragma once
#include <string>
#include <vector>

// A fresh test folder, C:\qo-tests\<the running test's name>, that receives the run log while
// the object lives.
class LogFolder {
public:
    LogFolder();
    ~LogFolder();
    LogFolder(const LogFolder&) = delete;
    LogFolder& operator=(const LogFolder&) = delete;

    const std::string& Path() const { return path_; }
    std::string File(const std::string& name) const;
    // The logged messages so far, without their timestamps.
    std::vector<std::string> Messages() const;

private:
    std::string path_;
};

#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "common/paths.h"
#include "common/text.h"
#include "tests/support/test_files.h"
#include "tests/support/ui_robot.h"
#include "ui/folder_choice.h"

namespace {
constexpr char Title[] = "Choose where to install Quarnfell Ostvale";

// The folder dialogs are modal on the thread under test, so a second thread drives them: the
// first dialog gets `act`; any further one is recorded and closed, so that an unexpected
// dialog fails the test instead of hanging it.
class DialogDriver {
public:
    explicit DialogDriver(std::function<void(HWND)> act) : thread_([this, act] { Run(act); }) {}
    ~DialogDriver() { Finish(); }

    // Captions of every dialog seen, in order.
    std::vector<std::string> Finish() {
        done_ = true;
        if (thread_.joinable()) thread_.join();
        return captions_;
    }

private:
    void Run(const std::function<void(HWND)>& act) {
        HWND handled = WaitForDialog(GetCurrentProcessId(), 10000);
        if (!handled) return;
        captions_.push_back(WindowText(handled));
        Sleep(200);  // let the dialog finish opening its folder before it is driven
        act(handled);
        while (!done_) {
            HWND other = WaitForDialog(GetCurrentProcessId(), 100, handled);
            if (!other) continue;
            captions_.push_back(WindowText(other));
            CloseWindowLikeUser(other);
            handled = other;
        }
    }

    std::atomic<bool> done_{false};
    std::vector<std::string> captions_;
    std::thread thread_;
};

// Each test gets a profile folder of its own, so the default folder is new to it.
class FolderChoice : public testing::Test {
protected:
    void SetUp() override {
        root_ = FreshTestFolder(std::string("folder-choice\\") +
                                testing::UnitTest::GetInstance()->current_test_info()->name());
        profile_ = root_ + "\\ann";
        CreateFolderTree(profile_);
        defaultFolder_ = profile_ + "\\QuarnfellOstvale";
        environment_.emplace("USERPROFILE", profile_.c_str());
        // The installer's thread is a single-threaded apartment; the dialogs rely on it.
        ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE)));
    }
    void TearDown() override { CoUninitialize(); }

    std::string root_, profile_, defaultFolder_;
    std::optional<ScopedEnvironmentVariable> environment_;
};

// Takes the folder picker's class registration out of the prefix, as on a system whose shell
// has no such dialog, and puts it back afterwards.
class PickerClassRemoved {
public:
    PickerClassRemoved() { RegDeleteTreeA(HKEY_CLASSES_ROOT, Key); }
    ~PickerClassRemoved() {
        const char server[] = "C:\\windows\\system32\\comdlg32.dll";
        const char model[] = "Apartment";
        RegSetKeyValueA(HKEY_CLASSES_ROOT, Key, nullptr, REG_SZ, server, sizeof server);
        RegSetKeyValueA(HKEY_CLASSES_ROOT, Key, "ThreadingModel", REG_SZ, model, sizeof model);
    }

private:
    static constexpr char Key[] = "CLSID\\{DC1C5A9C-E88A-4dde-A5A1-60F82A20AEF7}\\InprocServer32";
};
}  // namespace

TEST(ExecutableFolder, HoldsTheRunningProgram) {
    const std::string folder = ExecutableFolder();
    EXPECT_TRUE(PathExists(JoinPath(folder, "unit_tests.exe"))) << folder;
    EXPECT_NE(folder.back(), '\\');
}

TEST(DefaultInstallFolder, UsesTheProfileOrElseTheProgramFolder) {
    const std::string besideProgram = JoinPath(ExecutableFolder(), "QuarnfellOstvale");
    const std::string longest = "C:\\" + std::string(256, 'p');  // 259 characters
    const std::string tooLong = longest + "p";
    const struct {
        const char* profile;  // null: not set
        std::string expected;
    } cases[] = {
        {"C:\\Users\\ann", "C:\\Users\\ann\\QuarnfellOstvale"},
        {"C:\\", "C:\\QuarnfellOstvale"},
        {longest.c_str(), longest + "\\QuarnfellOstvale"},
        {tooLong.c_str(), besideProgram},
        {"", besideProgram},
        {nullptr, besideProgram},
    };
    for (const auto& c : cases) {
        ScopedEnvironmentVariable profile("USERPROFILE", c.profile);
        EXPECT_EQ(DefaultInstallFolder(), c.expected) << (c.profile ? c.profile : "(not set)");
    }
}

// The picker's name box takes a name relative to the folder it opened in, or a full path;
// what comes back proves both where it opened and that a choice is returned as typed.
TEST_F(FolderChoice, PickerOpensInTheNewDefaultFolderAndReturnsTheTypedFolder) {
    const std::string elsewhere = root_ + "\\Games";
    CreateFolderTree(elsewhere);
    const struct {
        const char* typed;
        std::string expected;
    } cases[] = {
        {"Saves", defaultFolder_ + "\\Saves"},
        {elsewhere.c_str(), elsewhere},
    };
    for (const auto& c : cases) {
        bool defaultExisted = false;
        DialogDriver driver([&](HWND dialog) {
            defaultExisted = PathExists(defaultFolder_);
            CreateFolderTree(defaultFolder_ + "\\Saves");
            TypeIntoNameBox(dialog, c.typed);
            PressDialogButton(dialog, IDOK);
        });
        std::string chosen;
        EXPECT_EQ(ChooseInstallFolder(chosen), FolderChoiceResult::Chosen) << c.typed;
        EXPECT_EQ(driver.Finish(), std::vector<std::string>{Title});
        EXPECT_EQ(chosen, c.expected);
        EXPECT_TRUE(defaultExisted);
    }
}

TEST_F(FolderChoice, CancellingThePickerKeepsTheDefaultFolderAndShowsNothingElse) {
    for (const bool close : {false, true}) {
        DialogDriver driver([&](HWND dialog) {
            if (close) {
                CloseWindowLikeUser(dialog);
            } else {
                PressDialogButton(dialog, IDCANCEL);
            }
        });
        std::string chosen;
        EXPECT_EQ(ChooseInstallFolder(chosen), FolderChoiceResult::NotChosen) << close;
        EXPECT_EQ(driver.Finish(), std::vector<std::string>{Title});
        EXPECT_EQ(chosen, "");
        EXPECT_TRUE(PathExists(defaultFolder_));
    }
}

TEST_F(FolderChoice, PickerStillOpensWhenTheDefaultFolderCannotBeMade) {
    ScopedEnvironmentVariable profile("USERPROFILE", "Q:\\ann");  // no such drive
    DialogDriver driver([](HWND dialog) { PressDialogButton(dialog, IDCANCEL); });
    std::string chosen;
    EXPECT_EQ(ChooseInstallFolder(chosen), FolderChoiceResult::NotChosen);
    EXPECT_EQ(driver.Finish(), std::vector<std::string>{Title});
}

TEST_F(FolderChoice, BrowseDialogStandsInForAMissingPicker) {
    PickerClassRemoved removed;
    std::string untouched = "as before";
    EXPECT_EQ(PickFolderWithFileDialog(NarrowToWide(profile_), untouched), FolderChoiceResult::DialogUnavailable);
    EXPECT_EQ(untouched, "as before");

    const std::string elsewhere = root_ + "\\Games";
    CreateFolderTree(elsewhere);
    enum class Act { Accept, SelectElsewhere, Cancel, Close };
    const struct {
        Act act;
        FolderChoiceResult result;
        std::string chosen;
    } cases[] = {
        {Act::Accept, FolderChoiceResult::Chosen, defaultFolder_},
        {Act::SelectElsewhere, FolderChoiceResult::Chosen, elsewhere},
        {Act::Cancel, FolderChoiceResult::NotChosen, ""},
        {Act::Close, FolderChoiceResult::NotChosen, ""},
    };
    for (const auto& c : cases) {
        std::vector<std::string> labels;
        DialogDriver driver([&](HWND dialog) {
            labels = VisibleChildTexts(dialog, "Static");
            if (c.act == Act::SelectElsewhere) SelectBrowseFolder(dialog, elsewhere);
            if (c.act == Act::Close) {
                CloseWindowLikeUser(dialog);
            } else {
                PressDialogButton(dialog, c.act == Act::Cancel ? IDCANCEL : IDOK);
            }
        });
        std::string chosen;
        EXPECT_EQ(ChooseInstallFolder(chosen), c.result) << static_cast<int>(c.act);
        // Wine's browse dialog keeps its own caption and shows the title as a label.
        EXPECT_EQ(driver.Finish(), std::vector<std::string>{"Browse for Folder"});
        EXPECT_EQ(labels, std::vector<std::string>{Title});
        EXPECT_EQ(chosen, c.chosen);
    }
}

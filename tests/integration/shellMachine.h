#pragma once

#include "frontend/installationPaths.h"
#include "support/product.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace kovra {

/// An installed machine with the files that the ties into the shell come from: a language with its captions,
/// the registry template, the shell extension.
class ShellMachine : public InstalledMachine {
public:
    static constexpr const wchar_t* menuKey = L"Directory\\Shell\\KOVRA.share";

    ShellMachine() {
        set("language=en");
        files.write(L"C:\\Kovra\\www\\includes\\lng\\en.php",
                    "//configNewResource:New resource\r\n"
                    "//shellShareWith:Publi\xC3\xA9 \xEF\xBC\x82\r\n"); // a quote of full width
        files.write(L"C:\\Kovra\\bin\\default\\contextMenu.reg",
                    "REGEDIT4\r\n"
                    "[HKEY_CLASSES_ROOT\\Directory\\Shell\\KOVRA.share]\r\n"
                    "@=\"%SHAREMAINCAPTION%\"\r\n");
        files.write(L"C:\\Kovra\\bin\\kovraShellExt.dll", "shell extension 1");
    }

    /// Runs the body in a launcher process that has resolved its paths, then lets its children do their work.
    void insideLauncher(const std::function<void()>& body) {
        inside([&] {
            ASSERT_TRUE(initPaths());
            body();
        });
        play(200);
    }
};

inline constexpr simulated::WindowsVersion windowsXp{5, 1, VER_PLATFORM_WIN32_NT};
inline constexpr simulated::WindowsVersion windowsVista{6, 0, VER_PLATFORM_WIN32_NT};
inline constexpr simulated::WindowsVersion windows8{6, 2, VER_PLATFORM_WIN32_NT};

} // namespace kovra

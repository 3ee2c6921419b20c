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
    static constexpr const wchar_t* templatePath = L"C:\\Kovra\\bin\\default\\contextMenu.reg";
    static constexpr const wchar_t* menuKey = L"Directory\\Shell\\KOVRA.share";

    ShellMachine() {
        set("language=en");
        files.write(L"C:\\Kovra\\www\\includes\\lng\\en.php",
                    "<?php\r\n"
                    "//configNewResource:New resource\r\n"
                    "//shellShareWith:Share with \"Kovra\"\r\n"
                    "//doShare:Share\r\n"
                    "//doSend:Send [file]\r\n"
                    "//doPublish:Publi\xC3\xA9 \\ \xEF\xBC\x82\r\n"); // a quote of full width
        files.write(templatePath, "REGEDIT4\r\n\r\n"
                                  "[HKEY_CLASSES_ROOT\\Directory\\Shell\\KOVRA.share]\r\n"
                                  "@=\"%SHAREMAINCAPTION%\"\r\n\r\n"
                                  "[HKEY_CLASSES_ROOT\\Directory\\Shell\\KOVRA.share\\command]\r\n"
                                  "@=\"\\\"%EXEPATH%\\\\kovra.exe\\\" \\\"%1\\\"\"\r\n\r\n"
                                  "[HKEY_CLASSES_ROOT\\*\\Shell\\KOVRA.share]\r\n"
                                  "@=\"%SHARECAPTION%\"\r\n\r\n"
                                  "[HKEY_CLASSES_ROOT\\*\\Shell\\KOVRA.share\\command]\r\n"
                                  "@=\"\\\"%EXEPATH%\\\\kovra.exe\\\" \\\"%1\\\"\"\r\n\r\n"
                                  "[HKEY_CLASSES_ROOT\\KOVRA.menu]\r\n"
                                  "@=\"%SENDCAPTION%\"\r\n"
                                  "\"publish\"=\"%PUBLISHCAPTION%\"\r\n"
                                  "\"www\"=\"%WWWPATH%\"\r\n");
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

    void removeLanguageFile() { files.remove(L"C:\\Kovra\\www\\includes\\lng\\en.php"); }
};

inline constexpr simulated::WindowsVersion windowsXp{5, 1, VER_PLATFORM_WIN32_NT};
inline constexpr simulated::WindowsVersion windowsVista{6, 0, VER_PLATFORM_WIN32_NT};
inline constexpr simulated::WindowsVersion windows8{6, 2, VER_PLATFORM_WIN32_NT};

} // namespace kovra

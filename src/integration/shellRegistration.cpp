#include "integration/shellRegistration.h"

#include "integration/modRegistry.h"
#include "integration/shellExtension.h"
#include "support/pathSet.h"
#include "support/settings.h"

namespace kovra {

namespace {

constexpr const wchar_t* fileType = L"KOVRA.PSERVER.1";

void setDefaultValue(const std::wstring& keyPath, const std::wstring& text) {
    regSetValue(HKEY_CLASSES_ROOT, keyPath, L"", text, REG_SZ);
}

void createKeyWithDefault(const std::wstring& keyPath, const std::wstring& text) {
    regCreateKey(HKEY_CLASSES_ROOT, keyPath);
    setDefaultValue(keyPath, text);
}

} // namespace

bool registerContextMenu() {
    const std::wstring& exeFolder = pathSet->exeFolder;
    const std::wstring type = fileType;
    createKeyWithDefault(type + L"\\DefaultIcon", exeFolder + L"\\kovraLauncher.exe");
    createKeyWithDefault(type + L"\\Shell\\Open\\Command", L"\"" + exeFolder + L"\\kovra.exe\" \"%1\"");
    const std::optional<std::wstring> openCaption = getTranslation(L"configNewResource", true);
    if (!openCaption)
        return false;
    setDefaultValue(type + L"\\Shell\\Open", L"Kovra - " + *openCaption);
    createKeyWithDefault(L".kovraResource", type);
    createKeyWithDefault(L".kovraTheme", type);
    updateAndRegisterShellExtension();
    return true;
}

} // namespace kovra

#include "platform/automation.h"

#include <initializer_list>

#include <oleauto.h>

namespace kovra {
namespace {

constexpr VARIANT_BOOL variantYes = -1;
constexpr int tristateFalse = 0; // ANSI text

/// Owns what the VARIANT in it refers to.
class Value {
public:
    Value() { VariantInit(&variant_); }

    explicit Value(const std::wstring& text) : Value() {
        variant_.vt = VT_BSTR;
        variant_.bstrVal = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    }

    explicit Value(bool yes) : Value() {
        variant_.vt = VT_BOOL;
        variant_.boolVal = yes ? variantYes : VARIANT_BOOL{0};
    }

    explicit Value(std::int32_t number) : Value() {
        variant_.vt = VT_I4;
        variant_.lVal = number;
    }

    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;

    ~Value() { VariantClear(&variant_); }

    [[nodiscard]] VARIANT* out() { return &variant_; }

    [[nodiscard]] const VARIANT& get() const { return variant_; }

    [[nodiscard]] std::optional<std::wstring> text() {
        if (!is(VT_BSTR))
            return std::nullopt;
        return std::wstring{variant_.bstrVal == nullptr ? L"" : variant_.bstrVal,
                            SysStringLen(variant_.bstrVal)};
    }

    [[nodiscard]] bool yes() const { return variant_.vt == VT_BOOL && variant_.boolVal != 0; }

    /// A size above 2 GB comes as a floating-point number, which is exact up to 2 to the power 53.
    [[nodiscard]] std::optional<std::uint64_t> number() {
        if (FAILED(VariantChangeType(&variant_, &variant_, 0, VT_R8)) || variant_.dblVal < 0)
            return std::nullopt;
        return static_cast<std::uint64_t>(variant_.dblVal);
    }

    /// The object in it, whose reference goes over to the caller.
    [[nodiscard]] AutomationObject object() {
        if (!is(VT_DISPATCH))
            return {};
        variant_.vt = VT_EMPTY;
        return AutomationObject{variant_.pdispVal};
    }

    [[nodiscard]] IUnknown* unknown() const {
        return variant_.vt == VT_UNKNOWN || variant_.vt == VT_DISPATCH ? variant_.punkVal : nullptr;
    }

private:
    [[nodiscard]] bool is(VARTYPE type) const { return variant_.vt == type; }

    VARIANT variant_;
};

IDispatch* dispatchOf(const AutomationObject& object) {
    return static_cast<IDispatch*>(object.get());
}

/// Calls a member of the object by its id; gives the error that the member itself gave. The arguments are
/// VARIANTs in reversed order, as Invoke takes them.
HRESULT invoke(const AutomationObject& object, DISPID member, WORD kind, VARIANTARG* reversedArguments,
               UINT count, VARIANT* result) {
    DISPID propertyPut = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{};
    parameters.rgvarg = reversedArguments;
    parameters.cArgs = count;
    if (kind == DISPATCH_PROPERTYPUT) {
        parameters.rgdispidNamedArgs = &propertyPut;
        parameters.cNamedArgs = 1;
    }
    EXCEPINFO exception{};
    const HRESULT outcome = dispatchOf(object)->Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, kind,
                                                       &parameters, result, &exception, nullptr);
    if (outcome != DISP_E_EXCEPTION)
        return outcome;
    if (exception.pfnDeferredFillIn != nullptr)
        exception.pfnDeferredFillIn(&exception);
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
    return FAILED(exception.scode) ? exception.scode : outcome;
}

/// Calls a method, or reads or writes a property, by its name.
HRESULT call(const AutomationObject& object, const wchar_t* name, WORD kind,
             std::initializer_list<const Value*> arguments, VARIANT* result) {
    if (!object)
        return E_POINTER;
    constexpr UINT maxArguments = 4;
    if (arguments.size() > maxArguments)
        return E_INVALIDARG;
    DISPID member = 0;
    auto* memberName = const_cast<LPOLESTR>(name);
    const HRESULT found =
        dispatchOf(object)->GetIDsOfNames(IID_NULL, &memberName, 1, LOCALE_USER_DEFAULT, &member);
    if (FAILED(found))
        return found;

    // Borrowed copies: each text stays its Value's own.
    VARIANTARG reversed[maxArguments];
    auto position = static_cast<UINT>(arguments.size());
    for (const Value* argument : arguments)
        reversed[--position] = argument->get();
    return invoke(object, member, kind, reversed, static_cast<UINT>(arguments.size()), result);
}

HRESULT callMethod(const AutomationObject& object, const wchar_t* name,
                   std::initializer_list<const Value*> arguments) {
    return call(object, name, DISPATCH_METHOD, arguments, nullptr);
}

bool yesFromMethod(const AutomationObject& object, const wchar_t* name, const std::wstring& path) {
    const Value argument{path};
    Value result;
    return SUCCEEDED(call(object, name, DISPATCH_METHOD, {&argument}, result.out())) && result.yes();
}

AutomationObject objectFromMethod(const AutomationObject& object, const wchar_t* name,
                                  std::initializer_list<const Value*> arguments) {
    Value result;
    if (FAILED(call(object, name, DISPATCH_METHOD, arguments, result.out())))
        return {};
    return result.object();
}

std::optional<std::wstring> textProperty(const AutomationObject& object, const wchar_t* name) {
    Value result;
    if (FAILED(call(object, name, DISPATCH_PROPERTYGET, {}, result.out())))
        return std::nullopt;
    return result.text();
}

bool setProperty(const AutomationObject& object, const wchar_t* name, const Value& value) {
    return SUCCEEDED(call(object, name, DISPATCH_PROPERTYPUT, {&value}, nullptr));
}

/// The object as its typed class, or nothing when there is none.
template <typename Typed>
std::optional<Typed> typed(AutomationObject object) {
    if (!object)
        return std::nullopt;
    return Typed{std::move(object)};
}

/// Makes the thread an apartment, for the life of the process, as the objects last as long. One that couldn't
/// be made is tried again at the next call.
bool enterApartment() {
    static bool entered = false;
    entered = entered || SUCCEEDED(CoInitialize(nullptr));
    return entered;
}

AutomationObject createByClassName(const wchar_t* className) {
    CLSID classId{};
    void* object = nullptr;
    if (!enterApartment() || FAILED(CLSIDFromProgID(className, &classId)) ||
        FAILED(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, &object)))
        return {};
    return AutomationObject{object};
}

} // namespace

AutomationObject::~AutomationObject() {
    if (object_ != nullptr)
        static_cast<IDispatch*>(object_)->Release();
}

std::optional<bool> TextStream::AtEndOfStream() const {
    Value result;
    if (FAILED(call(object_, L"AtEndOfStream", DISPATCH_PROPERTYGET, {}, result.out())))
        return std::nullopt;
    return result.yes();
}

std::optional<std::wstring> TextStream::ReadLine() {
    Value result;
    if (FAILED(call(object_, L"ReadLine", DISPATCH_METHOD, {}, result.out())))
        return std::nullopt;
    return result.text();
}

std::optional<std::wstring> TextStream::ReadAll() {
    Value result;
    if (FAILED(call(object_, L"ReadAll", DISPATCH_METHOD, {}, result.out())))
        return std::nullopt;
    return result.text();
}

bool TextStream::Write(const std::wstring& text) {
    const Value argument{text};
    return SUCCEEDED(callMethod(object_, L"Write", {&argument}));
}

void TextStream::Close() {
    callMethod(object_, L"Close", {});
}

std::optional<std::wstring> File::Name() const {
    return textProperty(object_, L"Name");
}

std::optional<std::wstring> File::Path() const {
    return textProperty(object_, L"Path");
}

std::optional<std::uint64_t> File::Size() const {
    Value result;
    if (FAILED(call(object_, L"Size", DISPATCH_PROPERTYGET, {}, result.out())))
        return std::nullopt;
    return result.number();
}

std::optional<TextStream> File::OpenAsTextStream(IoMode mode) const {
    const Value modeNumber{static_cast<std::int32_t>(mode)};
    const Value format{tristateFalse};
    return typed<TextStream>(objectFromMethod(object_, L"OpenAsTextStream", {&modeNumber, &format}));
}

bool File::Delete(bool force) {
    const Value forced{force};
    const HRESULT outcome = callMethod(object_, L"Delete", {&forced});
    if (outcome != E_NOTIMPL)
        return SUCCEEDED(outcome);
    // Not every maker's file-system object has this method.
    const std::optional<std::wstring> path = Path();
    return path && FileSystemObject::create().DeleteFile(*path, force);
}

std::vector<File> Folder::Files() const {
    std::vector<File> files;
    Value collection;
    if (FAILED(call(object_, L"Files", DISPATCH_PROPERTYGET, {}, collection.out())))
        return files;
    const AutomationObject collectionObject = collection.object();
    Value newEnumerator;
    if (!collectionObject ||
        FAILED(invoke(collectionObject, DISPID_NEWENUM, DISPATCH_METHOD | DISPATCH_PROPERTYGET, nullptr, 0,
                      newEnumerator.out())))
        return files;
    IEnumVARIANT* enumerator = nullptr;
    if (newEnumerator.unknown() == nullptr || FAILED(newEnumerator.unknown()->QueryInterface(
                                                  IID_IEnumVARIANT, reinterpret_cast<void**>(&enumerator))))
        return files;
    for (;;) {
        Value next;
        if (enumerator->Next(1, next.out(), nullptr) != S_OK)
            break;
        AutomationObject file = next.object();
        if (file)
            files.emplace_back(std::move(file));
    }
    enumerator->Release();
    return files;
}

FileSystemObject FileSystemObject::create() {
    return FileSystemObject{createByClassName(L"Scripting.FileSystemObject")};
}

bool FileSystemObject::FileExists(const std::wstring& path) const {
    return yesFromMethod(object_, L"FileExists", path);
}

bool FileSystemObject::FolderExists(const std::wstring& path) const {
    return yesFromMethod(object_, L"FolderExists", path);
}

std::optional<File> FileSystemObject::GetFile(const std::wstring& path) const {
    const Value argument{path};
    return typed<File>(objectFromMethod(object_, L"GetFile", {&argument}));
}

std::optional<Folder> FileSystemObject::GetFolder(const std::wstring& path) const {
    const Value argument{path};
    return typed<Folder>(objectFromMethod(object_, L"GetFolder", {&argument}));
}

std::optional<TextStream> FileSystemObject::OpenTextFile(const std::wstring& path, IoMode mode,
                                                         bool create) const {
    const Value pathText{path};
    const Value modeNumber{static_cast<std::int32_t>(mode)};
    const Value created{create};
    const Value format{tristateFalse};
    return typed<TextStream>(
        objectFromMethod(object_, L"OpenTextFile", {&pathText, &modeNumber, &created, &format}));
}

std::optional<TextStream> FileSystemObject::CreateTextFile(const std::wstring& path, bool overwrite) const {
    const Value pathText{path};
    const Value replaced{overwrite};
    const Value unicode{false};
    return typed<TextStream>(objectFromMethod(object_, L"CreateTextFile", {&pathText, &replaced, &unicode}));
}

bool FileSystemObject::DeleteFile(const std::wstring& path, bool force) const {
    const Value pathText{path};
    const Value forced{force};
    return SUCCEEDED(callMethod(object_, L"DeleteFile", {&pathText, &forced}));
}

bool FileSystemObject::DeleteFolder(const std::wstring& path, bool force) const {
    const Value pathText{path};
    const Value forced{force};
    return SUCCEEDED(callMethod(object_, L"DeleteFolder", {&pathText, &forced}));
}

bool FileSystemObject::MoveFile(const std::wstring& source, const std::wstring& destination) const {
    const Value from{source};
    const Value to{destination};
    return SUCCEEDED(callMethod(object_, L"MoveFile", {&from, &to}));
}

bool FileSystemObject::MoveFolder(const std::wstring& source, const std::wstring& destination) const {
    const Value from{source};
    const Value to{destination};
    const HRESULT outcome = callMethod(object_, L"MoveFolder", {&from, &to});
    // Not every maker's file-system object has this method.
    return outcome == E_NOTIMPL ? MoveFileW(source.c_str(), destination.c_str()) != FALSE
                                : SUCCEEDED(outcome);
}

bool Shortcut::setTargetPath(const std::wstring& path) {
    return setProperty(object_, L"TargetPath", Value{path});
}

bool Shortcut::setArguments(const std::wstring& arguments) {
    return setProperty(object_, L"Arguments", Value{arguments});
}

bool Shortcut::setWorkingDirectory(const std::wstring& path) {
    return setProperty(object_, L"WorkingDirectory", Value{path});
}

bool Shortcut::setWindowStyle(std::int32_t style) {
    return setProperty(object_, L"WindowStyle", Value{style});
}

bool Shortcut::setIconLocation(const std::wstring& location) {
    return setProperty(object_, L"IconLocation", Value{location});
}

bool Shortcut::Save() {
    return SUCCEEDED(callMethod(object_, L"Save", {}));
}

WshShell WshShell::create() {
    return WshShell{createByClassName(L"Wscript.Shell")};
}

std::optional<Shortcut> WshShell::createShortcut(const std::wstring& path) const {
    const Value argument{path};
    return typed<Shortcut>(objectFromMethod(object_, L"CreateShortcut", {&argument}));
}

std::optional<std::wstring> WshShell::ExpandEnvironmentStrings(const std::wstring& text) const {
    const Value argument{text};
    Value result;
    if (FAILED(call(object_, L"ExpandEnvironmentStrings", DISPATCH_METHOD, {&argument}, result.out())))
        return std::nullopt;
    return result.text();
}

} // namespace kovra

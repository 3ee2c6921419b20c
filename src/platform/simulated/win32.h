#pragma once

// The subset of Windows that the launcher calls, with Windows' own names, types and values. The simulated
// machine implements it. Parameters stand without a name where the declaration would not fit a line.

#include <cstddef>
#include <cstdint>

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using ULONG = std::uint32_t;
using LONG = std::int32_t;
using BOOL = int;
using SIZE_T = std::size_t;
using ULONG_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using NTSTATUS = LONG;
using HRESULT = LONG;
using HANDLE = void*;
using LPVOID = void*;
using PVOID = void*;
using HGLOBAL = void*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = wchar_t*;
using LPCWSTR = const wchar_t*;
using LPDWORD = DWORD*;
using REGSAM = DWORD;
using WPARAM = UINT_PTR;
using LPARAM = LONG_PTR;
using LRESULT = LONG_PTR;
using PSID = void*;
using HMODULE = void*;

#define WINAPI
#define CALLBACK

using FARPROC = LONG_PTR(WINAPI*)();

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;
constexpr DWORD INFINITE = 0xFFFFFFFF;
constexpr DWORD MAX_PATH = 260;
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1));

constexpr DWORD ERROR_SUCCESS = 0, ERROR_FILE_NOT_FOUND = 2, ERROR_PATH_NOT_FOUND = 3;
constexpr DWORD ERROR_ACCESS_DENIED = 5, ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_INVALID_PARAMETER = 87, ERROR_BROKEN_PIPE = 109, ERROR_PIPE_LOCAL = 229;
constexpr DWORD ERROR_NO_DATA = 232, ERROR_PIPE_NOT_CONNECTED = 233, ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_PIPE_LISTENING = 536, ERROR_INVALID_FLAGS = 1004, ERROR_NO_TOKEN = 1008;
constexpr DWORD ERROR_MOD_NOT_FOUND = 126, ERROR_CTX_WINSTATION_NOT_FOUND = 7022;

DWORD GetLastError();

// Threads, events, waits, clock

struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};

using LPTHREAD_START_ROUTINE = DWORD(WINAPI*)(LPVOID);

constexpr DWORD WAIT_OBJECT_0 = 0, WAIT_TIMEOUT = 258, WAIT_FAILED = 0xFFFFFFFF;

HANDLE CreateEventA(SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL initialState, LPCSTR name);
BOOL SetEvent(HANDLE event);
HANDLE CreateThread(SECURITY_ATTRIBUTES*, SIZE_T, LPTHREAD_START_ROUTINE, LPVOID, DWORD, LPDWORD);
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds);
BOOL CloseHandle(HANDLE handle);
DWORD GetTickCount();
void Sleep(DWORD milliseconds);

// Processes

constexpr DWORD TH32CS_SNAPPROCESS = 2;

struct PROCESSENTRY32 {
    DWORD dwSize, cntUsage, th32ProcessID;
    ULONG_PTR th32DefaultHeapID;
    DWORD th32ModuleID, cntThreads, th32ParentProcessID;
    LONG pcPriClassBase;
    DWORD dwFlags;
    char szExeFile[MAX_PATH];
};

HANDLE CreateToolhelp32Snapshot(DWORD flags, DWORD processId);
BOOL Process32First(HANDLE snapshot, PROCESSENTRY32* entry);
BOOL Process32Next(HANDLE snapshot, PROCESSENTRY32* entry);

[[noreturn]] void ExitProcess(UINT exitCode);
HANDLE GetCurrentProcess();
DWORD GetCurrentProcessId();
DWORD GetModuleFileNameA(HANDLE module, LPSTR fileName, DWORD size);
BOOL ProcessIdToSessionId(DWORD processId, DWORD* sessionId);

constexpr DWORD PROCESS_TERMINATE = 1;
HANDLE OpenProcess(DWORD access, BOOL inheritHandle, DWORD processId);
BOOL TerminateProcess(HANDLE process, UINT exitCode);

struct LUID {
    DWORD LowPart;
    LONG HighPart;
};

struct LUID_AND_ATTRIBUTES {
    LUID Luid;
    DWORD Attributes;
};

struct TOKEN_PRIVILEGES {
    DWORD PrivilegeCount;
    LUID_AND_ATTRIBUTES Privileges[1];
};

constexpr DWORD TOKEN_QUERY = 8, TOKEN_ADJUST_PRIVILEGES = 32;
constexpr DWORD SE_PRIVILEGE_ENABLED = 2;
BOOL OpenProcessToken(HANDLE process, DWORD access, HANDLE* token);
BOOL LookupPrivilegeValueA(LPCSTR systemName, LPCSTR name, LUID* luid);
BOOL AdjustTokenPrivileges(HANDLE, BOOL, TOKEN_PRIVILEGES*, DWORD, TOKEN_PRIVILEGES*, DWORD*);

HMODULE GetModuleHandleA(LPCSTR name);
FARPROC GetProcAddress(HMODULE module, LPCSTR name);

struct STARTUPINFOA {
    DWORD cb;
    LPSTR lpReserved, lpDesktop, lpTitle;
    DWORD dwX, dwY, dwXSize, dwYSize, dwXCountChars, dwYCountChars, dwFillAttribute, dwFlags;
    WORD wShowWindow, cbReserved2;
    BYTE* lpReserved2;
    HANDLE hStdInput, hStdOutput, hStdError;
};

struct PROCESS_INFORMATION {
    HANDLE hProcess, hThread;
    DWORD dwProcessId, dwThreadId;
};

constexpr DWORD STARTF_USESHOWWINDOW = 1, STARTF_USESTDHANDLES = 256;
constexpr DWORD NORMAL_PRIORITY_CLASS = 32;
BOOL CreatePipe(HANDLE* readEnd, HANDLE* writeEnd, SECURITY_ATTRIBUTES* attributes, DWORD size);
BOOL CreateProcessA(LPCSTR, LPSTR, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD, LPVOID, LPCSTR,
                    STARTUPINFOA*, PROCESS_INFORMATION*);

// Services and the event log

struct SERVICE_STATUS {
    DWORD dwServiceType, dwCurrentState, dwControlsAccepted;
    DWORD dwWin32ExitCode, dwServiceSpecificExitCode;
    DWORD dwCheckPoint, dwWaitHint;
};
using SERVICE_STATUS_HANDLE = struct ServiceStatusHandle*;
using SC_HANDLE = struct ServiceControlHandle*;
using LPSERVICE_MAIN_FUNCTIONA = void(WINAPI*)(DWORD, LPSTR*);
using LPHANDLER_FUNCTION = void(WINAPI*)(DWORD);

struct SERVICE_TABLE_ENTRYA {
    LPSTR lpServiceName;
    LPSERVICE_MAIN_FUNCTIONA lpServiceProc;
};

constexpr DWORD SERVICE_WIN32_OWN_PROCESS = 0x10, SERVICE_STOPPED = 1, SERVICE_START_PENDING = 2;
constexpr DWORD SERVICE_STOP_PENDING = 3, SERVICE_RUNNING = 4, SERVICE_ACCEPT_STOP = 1;
constexpr DWORD SERVICE_ACCEPT_SHUTDOWN = 4, SERVICE_CONTROL_STOP = 1, SERVICE_CONTROL_INTERROGATE = 4;
constexpr DWORD SERVICE_CONTROL_SHUTDOWN = 5;
BOOL StartServiceCtrlDispatcherA(const SERVICE_TABLE_ENTRYA* table);
SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerA(LPCSTR name, LPHANDLER_FUNCTION handler);
BOOL SetServiceStatus(SERVICE_STATUS_HANDLE handle, SERVICE_STATUS* status);

constexpr DWORD SC_MANAGER_CREATE_SERVICE = 2, SC_MANAGER_ENUMERATE_SERVICE = 4;
constexpr DWORD SERVICE_QUERY_STATUS = 4, SERVICE_ALL_ACCESS = 0xF01FF, SERVICE_AUTO_START = 2;
constexpr DWORD SERVICE_ERROR_NORMAL = 1;
SC_HANDLE OpenSCManagerA(LPCSTR machine, LPCSTR database, DWORD access);
SC_HANDLE OpenServiceA(SC_HANDLE manager, LPCSTR name, DWORD access);
SC_HANDLE CreateServiceA(SC_HANDLE, LPCSTR, LPCSTR, DWORD, DWORD, DWORD, DWORD, LPCSTR, LPCSTR, DWORD*,
                         LPCSTR, LPCSTR, LPCSTR);
BOOL DeleteService(SC_HANDLE service);
BOOL CloseServiceHandle(SC_HANDLE handle);

constexpr WORD EVENTLOG_INFORMATION_TYPE = 4;
HANDLE RegisterEventSourceA(LPCSTR server, LPCSTR source);
BOOL ReportEventA(HANDLE, WORD, WORD, DWORD, PSID, WORD, DWORD, LPCSTR*, LPVOID);
BOOL DeregisterEventSource(HANDLE log);

// Pipes, mailslots, files

struct OVERLAPPED;
constexpr DWORD GENERIC_READ = 0x80000000, GENERIC_WRITE = 0x40000000;
constexpr DWORD FILE_APPEND_DATA = 4, FILE_SHARE_READ = 1, FILE_SHARE_WRITE = 2, FILE_SHARE_DELETE = 4;
constexpr DWORD FILE_READ_ATTRIBUTES = 0x80;
constexpr DWORD CREATE_ALWAYS = 2;
constexpr DWORD OPEN_EXISTING = 3, OPEN_ALWAYS = 4;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 128, FILE_FLAG_OPEN_REPARSE_POINT = 0x200000;
constexpr DWORD FILE_FLAG_BACKUP_SEMANTICS = 0x2000000, FILE_BEGIN = 0;
constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF, INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
HANDLE CreateFileA(LPCSTR, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE);
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, DWORD* read, OVERLAPPED* overlapped);
BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written, OVERLAPPED* overlapped);
DWORD GetFileSize(HANDLE file, DWORD* sizeHigh);
DWORD SetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh, DWORD method);
BOOL DeleteFileA(LPCSTR name);
BOOL RemoveDirectoryA(LPCSTR name);

constexpr DWORD PIPE_ACCESS_DUPLEX = 3, PIPE_NOWAIT = 1, PIPE_READMODE_MESSAGE = 2, PIPE_TYPE_MESSAGE = 4;
HANDLE CreateNamedPipeA(LPCSTR, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD, SECURITY_ATTRIBUTES*);
BOOL ConnectNamedPipe(HANDLE pipe, OVERLAPPED* overlapped);
BOOL DisconnectNamedPipe(HANDLE pipe);

struct SID_IDENTIFIER_AUTHORITY {
    BYTE Value[6];
};

struct SID {
    BYTE Revision;
    BYTE SubAuthorityCount;
    SID_IDENTIFIER_AUTHORITY IdentifierAuthority;
    DWORD SubAuthority[1];
};

constexpr BYTE SID_REVISION = 1;
constexpr SID_IDENTIFIER_AUTHORITY SECURITY_NT_AUTHORITY{{0, 0, 0, 0, 0, 5}};
constexpr DWORD SECURITY_NETWORK_RID = 2;
BOOL ImpersonateNamedPipeClient(HANDLE pipe);
BOOL RevertToSelf();
HANDLE GetCurrentThread();
BOOL OpenThreadToken(HANDLE thread, DWORD access, BOOL openAsSelf, HANDLE* token);
BOOL CheckTokenMembership(HANDLE token, PSID sid, BOOL* isMember);

struct IO_STATUS_BLOCK {
    union {
        NTSTATUS Status;
        PVOID Pointer;
    };

    ULONG_PTR Information;
};

struct FILE_PIPE_LOCAL_INFORMATION {
    ULONG NamedPipeType, NamedPipeConfiguration;
    ULONG MaximumInstances, CurrentInstances;
    ULONG InboundQuota, ReadDataAvailable, OutboundQuota, WriteQuotaAvailable;
    ULONG NamedPipeState, NamedPipeEnd;
};

enum FILE_INFORMATION_CLASS { FilePipeLocalInformation = 24 };

NTSTATUS NtQueryInformationFile(HANDLE, IO_STATUS_BLOCK*, PVOID, ULONG, FILE_INFORMATION_CLASS);

constexpr UINT GMEM_ZEROINIT = 0x40;
HGLOBAL GlobalAlloc(UINT flags, SIZE_T size);
HGLOBAL GlobalFree(HGLOBAL memory);
constexpr DWORD SECURITY_DESCRIPTOR_REVISION = 1;

struct SECURITY_DESCRIPTOR {
    BYTE bytes[20];
};

BOOL InitializeSecurityDescriptor(PVOID descriptor, DWORD revision);
BOOL SetSecurityDescriptorDacl(PVOID descriptor, BOOL present, struct ACL* list, BOOL defaulted);

// Registry

using HKEY = struct RegistryKeyHandle*;
inline const HKEY HKEY_CLASSES_ROOT = reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x80000000));
constexpr DWORD KEY_READ = 0x20019, KEY_ALL_ACCESS = 0xF003F;
constexpr DWORD REG_SZ = 1, REG_DWORD = 4, REG_OPTION_NON_VOLATILE = 0;
LONG RegOpenKeyExA(HKEY key, LPCSTR path, DWORD options, REGSAM access, HKEY* result);
LONG RegCreateKeyExA(HKEY, LPCSTR, DWORD, LPSTR, DWORD, REGSAM, const SECURITY_ATTRIBUTES*, HKEY*, DWORD*);
LONG RegCloseKey(HKEY key);
LONG RegDeleteKeyA(HKEY key, LPCSTR path);
LONG RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
LONG RegQueryValueExA(HKEY key, LPCSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size);

// Shell, windows, system facts

using HWND = struct WindowHandle*;
using HINSTANCE = struct InstanceHandle*;
constexpr int SW_HIDE = 0;
HINSTANCE ShellExecuteA(HWND, LPCSTR, LPCSTR, LPCSTR, LPCSTR, int);

struct ITEMIDLIST;
constexpr int CSIDL_STARTUP = 0x07, CSIDL_COMMON_STARTUP = 0x18, CSIDL_APPDATA = 0x1A;
constexpr int CSIDL_COMMON_APPDATA = 0x23;
HRESULT SHGetSpecialFolderLocation(HWND owner, int folder, ITEMIDLIST** list);
BOOL SHGetPathFromIDListA(const ITEMIDLIST* list, LPSTR path);
void CoTaskMemFree(LPVOID memory);

constexpr UINT MB_OK = 0, MB_ICONEXCLAMATION = 0x30;
int MessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT type);

struct POINT {
    LONG x, y;
};

struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
};

constexpr UINT PM_REMOVE = 1;
BOOL PeekMessageA(MSG* message, HWND window, UINT first, UINT last, UINT remove);
BOOL TranslateMessage(const MSG* message);
LRESULT DispatchMessageA(const MSG* message);

struct OSVERSIONINFOA {
    DWORD dwOSVersionInfoSize, dwMajorVersion, dwMinorVersion, dwBuildNumber, dwPlatformId;
    char szCSDVersion[128];
};

constexpr DWORD VER_PLATFORM_WIN32_WINDOWS = 1, VER_PLATFORM_WIN32_NT = 2;
BOOL GetVersionExA(OSVERSIONINFOA* information);

struct SYSTEMTIME {
    WORD wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
};

using LCID = DWORD;
constexpr LCID LOCALE_USER_DEFAULT = 0x400;
constexpr DWORD DATE_SHORTDATE = 1;
constexpr DWORD LOCALE_USE_CP_ACP = 0x40000000;
void GetLocalTime(SYSTEMTIME* time);
int GetDateFormatA(LCID locale, DWORD flags, const SYSTEMTIME* date, LPCSTR format, LPSTR text, int size);
int GetTimeFormatA(LCID locale, DWORD flags, const SYSTEMTIME* time, LPCSTR format, LPSTR text, int size);

constexpr UINT CP_ACP = 0, CP_UTF8 = 65001;
constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x400;
int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR source, int sourceSize, LPWSTR target,
                        int targetSize);
int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR source, int sourceSize, LPSTR target,
                        int targetSize, LPCSTR defaultCharacter, BOOL* usedDefaultCharacter);

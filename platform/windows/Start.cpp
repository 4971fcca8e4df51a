#include "platform/windows/Start.h"

#include "platform/FileLocations.h"
#include "platform/Platform.h"
#include "platform/WindowsApi.h"

#include <QStandardPaths>

namespace platform
{

namespace
{

void fillTables()
{
#define PLATFORM_FILL(Result, name, parameters) windowsApi().name.function = ::name;
    PLATFORM_WINDOWS_FUNCTIONS(PLATFORM_FILL)
#undef PLATFORM_FILL
    bindApiLibrary();
    fileLocations() = {
        [](const std::string &windowsPath) { return windowsPath; },
        [] { return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation); },
    };
}

/// Sets the variables that Qt reads.
void prepareQt()
{
    // Plugins of other software, built for its own Qt, would keep the program from starting.
    qunsetenv("QT_PLUGIN_PATH");
    qunsetenv("QT_QPA_PLATFORM_PLUGIN_PATH");
    // MinGW's runtime frees a thread's variables before it runs their destructors. One of them
    // belongs to the compiler for regular expressions: with it, the end of a search leaves a lock
    // behind on which the end of the program waits for good.
    qputenv("QT_ENABLE_REGEXP_JIT", "0");
}

/// Has Windows, if it can, refuse an administrator's process the junctions that other users made.
void distrustJunctions()
{
    TOKEN_ELEVATION token{};
    DWORD size = sizeof(token);
    GetTokenInformation(GetCurrentProcessToken(), TokenElevation, &token, size, &size);
    PROCESS_MITIGATION_REDIRECTION_TRUST_POLICY policy{};
    policy.EnforceRedirectionTrust = 1;
    if (token.TokenIsElevated)
        SetProcessMitigationPolicy(ProcessRedirectionTrustPolicy, &policy, sizeof(policy));
}

} // namespace

bool start()
{
    prepareQt();
    distrustJunctions();
    fillTables();
    connectStandardStreams();
    return true;
}

} // namespace platform

#include "simulator/SimulatedMachine.h"

namespace
{

/// Returns the place in the PC's folder of a file with a Windows path. Letter case is kept: files
/// have to be named as the program names them.
std::string pathOnPc(const QString &pcFolder, const std::string &windowsPath)
{
    QString path = QString::fromLocal8Bit(windowsPath).replace(u'\\', u'/');
    const bool hasDrive = path.size() >= 2 && path[0].isLetter() && path[1] == u':';
    if (hasDrive)
        path = pcFolder + u'/' + path[0].toUpper() + path.mid(2);
    return path.toLocal8Bit().toStdString();
}

} // namespace

SimulatedMachine::SimulatedMachine(const SimulatedPc &pc)
    : m_windows(pc),
      m_kernel(pc.kernel),
      m_savedWindowsApi(platform::windowsApi()),
      m_savedKernelApi(platform::kernelApi()),
      m_savedFileLocations(platform::fileLocations())
{
    platform::windowsApi() = m_windows.functions();
    platform::kernelApi() = m_kernel.operations();

    platform::FileLocations &locations = platform::fileLocations();
    locations.localPath = [folder = pc.folder](const std::string &windowsPath) {
        return pathOnPc(folder, windowsPath);
    };
    locations.homeFolder = [home = pc.folder + "/C/Users/" + pc.userName] { return home; };
}

SimulatedMachine::~SimulatedMachine()
{
    platform::windowsApi() = m_savedWindowsApi;
    platform::kernelApi() = m_savedKernelApi;
    platform::fileLocations() = m_savedFileLocations;
}

#include "tests/support/StandardOutput.h"

#include <QFile>

#include <cstdio>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

StandardOutput::StandardOutput()
{
    std::fflush(stdout);
    m_savedDescriptor = dup(fileno(stdout));
    if (!m_file.open() || dup2(m_file.handle(), fileno(stdout)) == -1)
        qFatal("Expected standard output to be caught in %s", qPrintable(m_file.fileName()));
}

StandardOutput::~StandardOutput()
{
    std::fflush(stdout);
    dup2(m_savedDescriptor, fileno(stdout));
    close(m_savedDescriptor);
}

QByteArray StandardOutput::text()
{
    QFile file(m_file.fileName());
    if (!file.open(QIODevice::ReadOnly))
        qFatal("Expected %s to be readable", qPrintable(m_file.fileName()));
    return file.readAll().replace("\r\n", "\n");
}

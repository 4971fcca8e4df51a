#pragma once

#include <QApplication>
#include <QTest>
#include <QWidget>

/// Returns the class names of the windows that are still open.
inline QStringList openWindows()
{
    QStringList names;
    for (const QWidget *window : QApplication::topLevelWidgets()) {
        if (window->isVisible())
            names.append(window->metaObject()->className());
    }
    return names;
}

/// Has a test function last as long as CTest lets its test: a busy machine needs more than Qt's own
/// five minutes for a long one.
inline void leaveTimeLimitToCTest()
{
    qputenv("QTEST_FUNCTION_TIMEOUT", "3600000");
}

/// The main function of a GUI test: fails the test when it leaves a window open.
#define GUI_TEST_MAIN(TestClass)                                                                   \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        QApplication application(argc, argv);                                                      \
        leaveTimeLimitToCTest();                                                                   \
        TestClass test;                                                                            \
        const int failures = QTest::qExec(&test, argc, argv);                                      \
        if (openWindows().isEmpty())                                                               \
            return failures;                                                                       \
        qCritical("Expected no window to be left open, found %s",                                  \
                  qPrintable(openWindows().join(", ")));                                           \
        return 1;                                                                                  \
    }

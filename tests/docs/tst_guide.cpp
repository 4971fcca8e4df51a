// The guide answers to every text that the user can meet: the texts come from the running program,
// from its tables and, where a failure cannot be had here, from its sources.

#include "adapter_page/LinkRules.h"
#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "backend/Exceptions.h"
#include "platform/KernelApi.h"
#include "tests/support/Faults.h"
#include "tests/support/GuiTest.h"
#include "tests/support/PrintedMessages.h"
#include "tests/support/ProgramTexts.h"
#include "tests/support/RunningWizard.h"
#include "tests/support/StandardOutput.h"
#include "tests/support/TemporaryPc.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QTextDocumentFragment>

#include <filesystem>
#include <new>
#include <system_error>

namespace
{

/// Stands in a text for what the program inserts, such as a number. The guide has an example there.
constexpr QChar inserted = QChar::ObjectReplacementCharacter;

QString read(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("Expected %s to be readable", qPrintable(path));
    return QString::fromUtf8(file.readAll());
}

/// Returns the text on one line, without quotation marks and emphasis.
QString normalised(QString text)
{
    static const QRegularExpression marks("^>|[`*]", QRegularExpression::MultilineOption);
    return text.remove(marks).simplified();
}

bool isInGuide(const QString &text)
{
    static const QString guide = normalised(read(SOURCE_FOLDER "/docs/guide.md"));
    QStringList parts;
    for (const QString &part : text.split(inserted))
        parts.append(QRegularExpression::escape(part));
    return guide.contains(QRegularExpression(parts.join(".{1,80}?")));
}

/// Returns those of the texts that the guide lacks, a line each. A text of nothing is not a text.
QString missingInGuide(const QStringList &texts)
{
    QStringList missing;
    for (const QString &text : texts) {
        const QString wanted = normalised(text);
        if (wanted.isEmpty())
            missing.append("an empty text");
        else if (!isInGuide(wanted))
            missing.append(wanted);
    }
    return missing.join('\n');
}

QString plain(const QString &text)
{
    if (!Qt::mightBeRichText(text))
        return text;
    return QTextDocumentFragment::fromHtml(text).toPlainText();
}

/// What a user sees of a PC up to the end of the search.
struct Meeting {
    QStringList boxes;
    QStringList printed;
    QStringList debugLines;
};

Meeting meetingWith(const SimulatedPc &pc, const std::function<void(RunningWizard &)> &use)
{
    Meeting meeting;
    const PrintedMessages messages;
    StandardOutput output;
    {
        RunningWizard running(pc);
        use(running);
        for (const AnsweredMessageBox &box : running.boxes.answered())
            meeting.boxes += QStringList{box.title, box.text} + box.buttons;
    }
    meeting.printed = QString::fromUtf8(output.text()).split('\n', Qt::SkipEmptyParts);
    meeting.debugLines = messages.texts();
    return meeting;
}

void search(RunningWizard &running)
{
    running.user.openAdapters();
}

template <typename Failure>
void searchThrowing(RunningWizard &running)
{
    platform::kernelApi().OV_openDriver.function = [](auto...) -> std::uint32_t {
        throw Failure();
    };
    running.user.openAdapters();
}

QList<int> kernelOrdinals()
{
    QList<int> ordinals;
    platform::kernelApi().forEach(
        [&](const auto &operation) { ordinals.append(operation.ordinal); });
    return ordinals;
}

/// Returns a report's line about a failed call as the row that the guide's table has for it.
QString reportRow(QString line)
{
    static const QRegularExpression command(": Error running command .*");
    static const QRegularExpression report("^  (.+?)(?:: (.*))?$");
    return line.remove(command).replace(report, R"(| \1 | \2 |)");
}

/// Returns the texts between quotation marks that have a blank, as all that a person reads does.
QStringList quotedTexts(QString source)
{
    static const QRegularExpression comments("//.*|^ *;.*", QRegularExpression::MultilineOption);
    static const QRegularExpression seams(R"(\x22\s+\x22)");
    static const QRegularExpression quoted(R"(\x22((?:[^\x22\\]|\\.)*)\x22)");
    static const QRegularExpression insertions("%[0-9]*[a-zA-Z]+|%[0-9]");
    QStringList texts;
    for (const auto &match : quoted.globalMatch(source.remove(comments).remove(seams))) {
        const QString text = match.captured(1).replace("\\n", " ").replace(insertions, inserted);
        if (text.simplified().contains(' '))
            texts.append(plain(text));
    }
    return texts;
}

} // namespace

class GuideTest : public QObject
{
    Q_OBJECT

private slots:
    void tellsThePages();
    void tellsTheErrorsInPlaceOfTheLists();
    void tellsWhatARowSays();
    void tellsWhatASearchWithoutDriverSays();
    void tellsWhatAKernelWithoutPortsSays();
    void tellsEachRefusedKernelCall();
    void tellsEachErrorCode();
    void tellsWhatABrokenSearchSays();
    void tellsWhatADriverFileSaysThatCannotBeLookedAt();
    void tellsTheRefusedDualLink();
    void tellsWhatTheSourcesSay();
    void tellsWhatTheInstallerSays();
};

void GuideTest::tellsThePages()
{
    OrvantaConfigurator wizard;
    // Many a widget has neither a text nor a name for a screen reader.
    QStringList texts;
    for (const auto *label : wizard.findChildren<QLabel *>())
        texts += {plain(label->text()), label->accessibleName()};
    for (const auto *button : wizard.page(AdapterPageId)->findChildren<QPushButton *>())
        texts += {button->text(), button->accessibleName()};
    texts.removeAll(QString());

    for (const int id : {IntroductionPageId, ConclusionPageId})
        texts += {wizard.page(id)->title(), wizard.page(id)->subTitle()};
    for (const auto *box : wizard.findChildren<QGroupBox *>())
        texts.append(box->title());
    for (const auto button :
         {QWizard::BackButton, QWizard::NextButton, QWizard::FinishButton, QWizard::CancelButton})
        texts.append(wizard.buttonText(button).remove('&'));

    QVERIFY(texts.size() >= 20);
    QCOMPARE(missingInGuide(texts), QString());
}

void GuideTest::tellsTheErrorsInPlaceOfTheLists()
{
    QStringList texts;
    for (const int code : {1, 2, 3, 99})
        texts.append(plain(NetworkAdapterSelectorPage::adapterErrorText(code, 0)));
    QCOMPARE(missingInGuide(texts), QString());
}

void GuideTest::tellsWhatARowSays()
{
    QStringList texts;
    for (const Lamp &lamp : allLamps) {
        texts += portDescription("DEVICE-A", "Example 10G Ethernet", lamp.status).split(u'\n');
        const QString colour = QFileInfo(lamp.image).baseName();
        texts.append(QString("| %1 | %2 |").arg(colour, lamp.description));
    }
    QCOMPARE(missingInGuide(texts), QString());
}

void GuideTest::tellsWhatASearchWithoutDriverSays()
{
    TemporaryPc temporary;
    temporary.writeConfig("DEVICE-A\n\n");
    const Meeting meeting = meetingWith(temporary.pc(), search);
    QCOMPARE(meeting.boxes.size(), 3);
    QVERIFY(!meeting.debugLines.isEmpty());
    QCOMPARE(missingInGuide(meeting.boxes + meeting.debugLines), QString());
}

void GuideTest::tellsWhatAKernelWithoutPortsSays()
{
    TemporaryPc temporary;
    temporary.installDriver();
    const Meeting meeting = meetingWith(temporary.pc(), search);
    QCOMPARE(meeting.printed.size(), 1);
    QCOMPARE(missingInGuide(meeting.printed), QString());
}

void GuideTest::tellsEachRefusedKernelCall()
{
    QStringList texts;
    for (const int ordinal : kernelOrdinals()) {
        TemporaryPc temporary;
        temporary.installDriver();
        temporary.pc().kernel.failures[ordinal] = noAccess;
        const Meeting meeting = meetingWith(temporary.pc(), search);
        texts += meeting.boxes;
        for (const QString &line : meeting.printed)
            texts.append(reportRow(line));
    }
    texts.removeDuplicates();
    // Of the boxes: four texts, one title and one button. Of the reports: seven calls with one
    // code, and a kernel without ports.
    QCOMPARE(texts.size(), 6 + 9);
    QCOMPARE(missingInGuide(texts), QString());
}

void GuideTest::tellsEachErrorCode()
{
    // Computed from the kernel's code: the guide has one of them for all.
    static const QRegularExpression longCode("-\\d{4,}");
    QStringList texts;
    for (std::uint32_t code = 0x10010000; code < 0x40000000; code += 0x10000) {
        try {
            DPL::throwOnError(DPL::translateKernelError(code));
        } catch (const std::exception &refusal) {
            texts.append(searchError(refusal.what()));
        }
    }
    texts.replaceInStrings(longCode, "-458752");
    texts.removeDuplicates();
    QCOMPARE(texts.size(), 15);
    QCOMPARE(missingInGuide(texts), QString());
}

void GuideTest::tellsWhatABrokenSearchSays()
{
    TemporaryPc temporary;
    temporary.installDriver();
    const QStringList texts = meetingWith(temporary.pc(), searchThrowing<int>).boxes +
                              meetingWith(temporary.pc(), searchThrowing<std::bad_alloc>).boxes;
    QCOMPARE(texts.size(), 6);
    QCOMPARE(missingInGuide(texts), QString());
}

void GuideTest::tellsWhatADriverFileSaysThatCannotBeLookedAt()
{
#ifdef Q_OS_WIN
    QSKIP("No file leads to itself on Windows");
#endif
    TemporaryPc temporary;
    const QString drive = temporary.path("");
    const std::filesystem::path file = (drive + "Windows/system32/Brelvix.run64.sys").toStdString();
    std::filesystem::create_symlink(file, file);

    QStringList boxes = meetingWith(temporary.pc(), search).boxes;
    QCOMPARE(boxes.size(), 3);
    const auto reason = std::make_error_code(std::errc::too_many_symbolic_link_levels).message();
    boxes.replaceInStrings(QString::fromStdString(reason), inserted);
    boxes.replaceInStrings(drive, QString(inserted) + "/");
    QCOMPARE(boxes.filter(inserted).size(), 1);
    QCOMPARE(missingInGuide(boxes), QString());
}

void GuideTest::tellsTheRefusedDualLink()
{
    TemporaryPc temporary(PCS_FOLDER "/refused-dual-link");
    const Meeting meeting = meetingWith(temporary.pc(), [](RunningWizard &running) {
        running.user.openAdapters();
        running.user.makeLink({0, 2});
    });
    QCOMPARE(meeting.boxes.size(), 3);
    QCOMPARE(missingInGuide(meeting.boxes), QString());
}

void GuideTest::tellsWhatTheSourcesSay()
{
    QStringList texts;
    for (const char *room : {"app", "adapter_page", "discovery", "backend", "platform"}) {
        QDirIterator files(QString(SOURCE_FOLDER "/") + room, {"*.cpp", "*.h"}, QDir::Files,
                           QDirIterator::Subdirectories);
        while (files.hasNext())
            texts += quotedTexts(read(files.next()));
    }
    // A text may end where another begins, as that of a report does.
    texts.replaceInStrings(QRegularExpression(": $"), "");
    QVERIFY(texts.size() >= 30);
    QCOMPARE(missingInGuide(texts), QString());
}

void GuideTest::tellsWhatTheInstallerSays()
{
    static const QRegularExpression message(R"text(Message="([^"]+)")text");
    QStringList texts;
    for (const QRegularExpressionMatch &match :
         message.globalMatch(read(SOURCE_FOLDER "/packaging/OrvantaConfigurator.wxs.in")))
        texts.append(match.captured(1));
    QVERIFY(texts.size() >= 2);
    QCOMPARE(missingInGuide(texts), QString());
}

GUI_TEST_MAIN(GuideTest)
#include "tst_guide.moc"

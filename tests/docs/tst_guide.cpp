// The guide answers to every text that the user can meet: the texts come from the running program,
// from its tables and, where a failure cannot be had here, from its sources.

#include "adapter_page/LinkRules.h"
#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "backend/Exceptions.h"
#include "platform/KernelApi.h"
#include "tests/support/GuiTest.h"
#include "tests/support/PrintedMessages.h"
#include "tests/support/RunningWizard.h"
#include "tests/support/StandardOutput.h"
#include "tests/support/TemporaryPc.h"

#include <QDirIterator>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QTextDocumentFragment>

#include <new>

namespace
{

constexpr std::uint32_t noAccess = 0x10160000;

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

/// Returns those of the texts that the guide lacks, a line each.
QString missingInGuide(const QStringList &texts)
{
    static const QString guide = normalised(read(SOURCE_FOLDER "/docs/guide.md"));
    QStringList missing;
    for (const QString &text : texts) {
        if (!guide.contains(normalised(text)))
            missing.append(normalised(text));
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
    void tellsTheRefusedDualLink();
    void tellsWhatTheSourcesPrint();
};

void GuideTest::tellsThePages()
{
    OrvantaConfigurator wizard;
    QStringList texts;
    for (const int id : wizard.pageIds())
        texts += {wizard.page(id)->title(), wizard.page(id)->subTitle()};
    for (const auto *label : wizard.findChildren<QLabel *>())
        texts += {plain(label->text()), label->accessibleName()};
    for (const auto *box : wizard.findChildren<QGroupBox *>())
        texts.append(box->title());
    for (const auto *button : wizard.page(1)->findChildren<QPushButton *>())
        texts += {button->text(), button->accessibleName()};
    for (const auto button :
         {QWizard::BackButton, QWizard::NextButton, QWizard::FinishButton, QWizard::CancelButton})
        texts.append(wizard.buttonText(button).remove('&'));

    QVERIFY(texts.contains("Create Dual Link Connection"));
    QVERIFY(texts.contains("The Orvanta configuration is completed."));
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
    for (const int status : {1, 0, -1})
        texts.append(portDescription("DEVICE-A", "Example 10G Ethernet", status).split(u'\n'));
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
        texts += meeting.boxes + meeting.printed;
    }
    texts.removeDuplicates();
    // Of the boxes: four texts, one title and one button. Of the reports: seven calls with one
    // code, and a kernel without ports.
    QCOMPARE(texts.size(), 6 + 9);
    QCOMPARE(missingInGuide(texts), QString());
}

void GuideTest::tellsEachErrorCode()
{
    QStringList texts;
    for (std::uint32_t code = 0x10010000; code < 0x40000000; code += 0x10000) {
        const std::int32_t programCode = DPL::translateKernelError(code);
        // The guide tells the computed ones, which are longer, together.
        if (programCode >= -200)
            texts.append(
                QString::fromStdString("[ERROR]: " + DPL::formatErrorMessage(programCode)));
    }
    texts.removeDuplicates();
    QVERIFY(texts.size() > 10);
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

void GuideTest::tellsTheRefusedDualLink()
{
    TemporaryPc temporary(PCS_FOLDER "/refused-dual-link");
    const Meeting meeting = meetingWith(temporary.pc(), [](RunningWizard &running) {
        running.user.openAdapters();
        running.user.click("availableAdaptersList", {0, 2});
        running.user.press("createDualLink");
    });
    QCOMPARE(meeting.boxes.size(), 3);
    QCOMPARE(missingInGuide(meeting.boxes), QString());
}

void GuideTest::tellsWhatTheSourcesPrint()
{
    // A text up to its first inserted value.
    static const QRegularExpression printing(R"re((?:printf|puts|ebug|arning)\("([^"%\\]+))re");
    QStringList texts;
    for (const char *room : {"app", "adapter_page", "discovery", "backend", "platform"}) {
        QDirIterator files(QString(SOURCE_FOLDER "/") + room, {"*.cpp"}, QDir::Files,
                           QDirIterator::Subdirectories);
        while (files.hasNext()) {
            for (const auto &match : printing.globalMatch(read(files.next())))
                texts.append(match.captured(1));
        }
    }
    QVERIFY(texts.size() >= 4);
    QCOMPARE(missingInGuide(texts), QString());
}

GUI_TEST_MAIN(GuideTest)
#include "tst_guide.moc"

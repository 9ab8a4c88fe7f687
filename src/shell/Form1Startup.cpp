// The main window's start and end: the font lists, the pieces of start-up that concern documents
// (the last file reopened, the settings they keep), the check that the speech engine started,
// and the closing of the other windows at the end.
#include "shell/Form1.h"

#include "config/AppPaths.h"
#include "config/Dialogs.h"
#include "config/KelIni.h"
#include "config/MultiLang.h"
#include "textprep/Text.h"
#include "voices/EspeakEngine.h"

#include <QAction>
#include <QApplication>
#include <QBoxLayout>
#include <QComboBox>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGroupBox>
#include <QLabel>
#include <QScreen>
#include <QTimer>

namespace tonaris {

using MultiLang::Translate;

namespace {
const QString Section = QStringLiteral("Settings");
const int FontSizes[] = {8, 9, 10, 11, 12, 14, 16, 18, 20, 22, 24, 26, 28, 36, 48, 72};

QString yesNo(bool on)
{
    return on ? QStringLiteral("True") : QStringLiteral("False");
}
} // namespace

void Form1::buildFontFrame()
{
    auto *frame = new QGroupBox(QStringLiteral("Font Select"), centralWidget());
    frame->setObjectName(QStringLiteral("FrameFontSelect"));
    auto *layout = new QHBoxLayout(frame);
    auto *fontLabel = new QLabel(QStringLiteral("Font"), frame);
    fontLabel->setObjectName(QStringLiteral("LabelFonts"));
    ComboFonts = new QComboBox(frame);
    ComboFonts->setObjectName(QStringLiteral("ComboFonts"));
    fontLabel->setBuddy(ComboFonts); // a screen reader names the list by its label
    auto *sizeLabel = new QLabel(QStringLiteral("Font Size"), frame);
    sizeLabel->setObjectName(QStringLiteral("FrameSubComboFontSize"));
    ComboFontSize = new QComboBox(frame);
    ComboFontSize->setObjectName(QStringLiteral("ComboFontSize"));
    sizeLabel->setBuddy(ComboFontSize);
    for (int size : FontSizes)
        ComboFontSize->addItem(QString::number(size));
    ComboFonts->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    ComboFonts->setMinimumContentsLength(8);
    layout->addWidget(fontLabel);
    layout->addWidget(ComboFonts, 1);
    layout->addWidget(sizeLabel);
    layout->addWidget(ComboFontSize);

    connect(ComboFonts, &QComboBox::textActivated, this,
            [this](const QString &family) { Text1->SetFontName(family); });
    connect(ComboFontSize, &QComboBox::textActivated, this,
            [this](const QString &size) { Text1->SetFontSize(size.toInt()); });
}

bool Form1::engineStarted()
{
    // Without the engine nothing can start: one message, and the window goes as soon as the
    // event loop runs. No voice or device is looked for, so no second message follows.
    if (!qobject_cast<EspeakEngine *>(Voice) || EspeakEngine::available())
        return true;
    m_startFailed = true;
    Dialogs::instance()->message(
        this,
        Translate(QStringLiteral(
            "Tonaris can't start.\r\n"
            "The speech engine espeak-ng could not be started.\r\n"
            "(Search for ''espeak-ng-data'' in your package manager and install it).\r\n"
            "If you want use the voices of other programs, install them too\r\n"
            "(for example ''flite'' or ''piper'').")),
        Dialogs::Exclamation, QString());
    DisableAllControls();
    QTimer::singleShot(0, this, &QWidget::close);
    return false;
}

bool Form1::HasDisplay()
{
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

void Form1::CenterForm(QWidget *form)
{
    const QScreen *screen = form->screen() ? form->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect area = screen->availableGeometry();
    const QSize size = form->frameGeometry().size();
    form->move(area.left() + (area.width() - size.width()) / 2,
               area.top() + (area.height() - size.height()) / 2);
}

void Form1::FillFontList(QComboBox *combo)
{
    combo->clear();
    combo->addItems(QFontDatabase::families());
}

void Form1::CheckScreenSize()
{
    const QScreen *screen = this->screen() ? this->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QSize size = screen->size();
    ResolutionOk = size.width() >= 1024 && size.height() >= 768;
    if (ResolutionOk || ResolutionWarningShown)
        return;
    ResolutionWarningShown = true;
    Dialogs::instance()->message(
        this, Translate(QStringLiteral("Tonaris requires at least 1024x768 resolution screen.")),
        Dialogs::Stop, QStringLiteral("Tonaris"));
}

void Form1::DisableAllControls()
{
    for (QWidget *w : findChildren<QWidget *>())
        w->setEnabled(false);
    for (QAction *a : findChildren<QAction *>())
        a->setEnabled(false);
}

void Form1::startUpDocuments()
{
    CenterForm(this);
    FillFontList(ComboFonts);
    const QString family = Text1->FontName();
    if (ComboFonts->findText(family) < 0)
        ComboFonts->insertItem(0, family); // an alias such as "Sans Serif" is a font all the same
    ComboFonts->setCurrentIndex(ComboFonts->findText(family));
    const QString size = QString::number(Text1->FontSize());
    if (ComboFontSize->findText(size) < 0)
        ComboFontSize->addItem(size);
    ComboFontSize->setCurrentIndex(ComboFontSize->findText(size));

    IniFile ini(SettingsFilePath());
    if (ini.existed()) {
        auto read = [&](const char *key) {
            return ini.read(Section, QLatin1String(key), QString());
        };
        const int font = ComboFonts->findText(read("FontName"));
        if (font >= 0) {
            ComboFonts->setCurrentIndex(font);
            Text1->SetFontName(ComboFonts->currentText());
        }
        const int points = ComboFontSize->findText(read("FontSize"));
        if (points >= 0) {
            ComboFontSize->setCurrentIndex(points);
            Text1->SetFontSize(ComboFontSize->currentText().toInt());
        }
        menuAutoLoad->setChecked(IniBool(read("AutoLoadLastSaved")));
        m_lastSavedFilename = read("LastSavedFilename");
        m_lastCursorPosition = IniVal(read("LastCursorPosition"));
    }

    if (VoiceCount() == 0) {
        // No voice: the window stays, empty and dead, and no file is looked at.
        DisableAllControls();
        return;
    }
    // A command line is for its own reader; only a start without one reopens the last file.
    if (QCoreApplication::arguments().size() <= 1)
        StartUpDocument(false);
}

void Form1::StartUpDocument(bool hidden)
{
    if (menuAutoLoad->isChecked()) {
        const QString path = m_lastSavedFilename.trimmed();
        if (!path.isEmpty() && QFileInfo(path).isFile()) {
            OpenDocument(path);
            if (m_lastCursorPosition < Text1->Length() && !hidden) {
                Text1->setFocus();
                Text1->SetSelStart(qMax(0, m_lastCursorPosition));
                Text1->ScrollToActualPos();
            }
        }
    } else if (!hidden) {
        Text1->setFocus();
    }
}

void Form1::saveDocumentSettings(IniFile &ini)
{
    if (!menuSaveSettings->isChecked())
        return;
    ini.write(Section, QStringLiteral("FontName"), ComboFonts->currentText());
    ini.write(Section, QStringLiteral("FontSize"), ComboFontSize->currentText());
    const bool autoLoad = menuAutoLoad->isChecked();
    ini.write(Section, QStringLiteral("AutoLoadLastSaved"), yesNo(autoLoad));
    ini.write(Section, QStringLiteral("LastSavedFilename"), autoLoad ? CurrentFilePath : QString());
    ini.write(Section, QStringLiteral("LastCursorPosition"),
              autoLoad ? QString::number(Text1->SelStart()) : QString());
}

void Form1::unloadOtherWindows()
{
    // The other windows go with this one, whether or not they were ever opened.
    for (QWidget *w : findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly))
        if (w->isWindow() && w->isVisible())
            w->close();
}

} // namespace tonaris

// Saving the editor's text to WAV and MP3: the menu command with its target and overwrite
// question, the audio-book options (volumes, spoken titles, silences, MP3 quality) and their
// settings, the progress and power-off windows, and the command line that saves or plays a file
// and ends.
#include "shell/Form1.h"

#include "config/AppPaths.h"
#include "config/CommandLine.h"
#include "config/Dialogs.h"
#include "config/KelIni.h"
#include "config/MultiLang.h"
#include "config/RunOptions.h"
#include "session/SaveToAudio.h"
#include "shell/FormWaitToSaving.h"
#include "shell/LevelSlider.h"
#include "textprep/Text.h"

#include <QAction>
#include <QActionGroup>
#include <QComboBox>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMenu>
#include <QMenuBar>

namespace tonaris {

using MultiLang::Translate;

namespace {
const QString Section = QStringLiteral("Settings");
const char *const SplitCaptions[SaveToAudio::SplitSizeCount] = {
    "&No split", "&5 min",  "&10 min",
    "&20 min",   "&30 min", "Fully &custom (use BREAK keyword only)"};

QString yesNo(bool on)
{
    return on ? QStringLiteral("True") : QStringLiteral("False");
}

// A menu of the bar or of a menu, by name; made (at `before`, else at the end) when missing.
QMenu *menuNamed(QWidget *owner, QMenuBar *bar, QMenu *parent, const char *name,
                 const char *caption, QAction *before = nullptr)
{
    const QList<QMenu *> found = owner->findChildren<QMenu *>(QLatin1String(name));
    if (!found.isEmpty())
        return found.first();
    auto *menu = new QMenu(QLatin1String(caption), parent ? static_cast<QWidget *>(parent) : bar);
    menu->setObjectName(QLatin1String(name));
    if (parent)
        parent->insertMenu(before, menu);
    else
        bar->insertMenu(before, menu);
    return menu;
}
} // namespace

void Form1::buildSaveMenus()
{
    SaveToAudio::CleanUpTemporaryFiles();
    SaveToAudio &save = m_session.saver();
    // Conversions and return-carriage removal act on the text being saved, not on the editor.
    m_session.PrepareTextForSave = [this](QString &text) { PrepareTextForSaving(text); };

    QMenu *file =
        menuNamed(this, menuBar(), nullptr, "menuFile", "&File", menuBar()->actions().value(0));
    // Beside the text items, above the separator that keeps Exit apart; the File menu's own
    // handler enables it with them.
    const QList<QAction *> fileItems = file->actions();
    const qsizetype exitAt =
        fileItems.indexOf(file->findChild<QAction *>(QStringLiteral("menuExit")));
    QAction *beforeExit = exitAt > 0 ? fileItems.at(exitAt - 1) : nullptr;
    menuSaveAudioFileAs = new QAction(QStringLiteral("&Save wav or mp3 as...\tCtrl+Shift+S"), file);
    file->insertAction(beforeExit, menuSaveAudioFileAs);
    menuSaveAudioFileAs->setObjectName(QStringLiteral("menuSaveAudioFileAs"));
    connect(menuSaveAudioFileAs, &QAction::triggered, this, &Form1::menuSaveAudioFileAs_Click);

    auto checkItem = [](QMenu *menu, const char *name, const char *caption, QAction *before) {
        auto *a = new QAction(QLatin1String(caption), menu);
        a->setObjectName(QLatin1String(name));
        a->setCheckable(true);
        menu->insertAction(before, a);
        return a;
    };

    menuRunWithIdlePriority = findChild<QAction *>(QStringLiteral("menuRunWithIdlePriority"));
    if (!menuRunWithIdlePriority)
        menuRunWithIdlePriority =
            checkItem(menuOptions, "menuRunWithIdlePriority", "Run with i&dle priority",
                      menuOptions->actions().value(0));
    connect(menuRunWithIdlePriority, &QAction::toggled, this,
            [&save](bool on) { save.RunWithIdlePriority = on; });

    QMenu *accessibility = findChild<QMenu *>(QStringLiteral("menuAccessibilityOptions"));
    QMenu *book =
        menuNamed(this, menuBar(), menuOptions, "menuAudioBookOptions", "Audio &Book creation",
                  accessibility ? accessibility->menuAction() : nullptr);
    QAction *first = book->actions().value(0);
    QMenu *split = new QMenu(QStringLiteral("&Split wav and mp3 files"), book);
    split->setObjectName(QStringLiteral("menuSplitWavOrMp3"));
    book->insertMenu(first, split);
    auto *splitGroup = new QActionGroup(split);
    for (int i = 0; i < SaveToAudio::SplitSizeCount; ++i) {
        menuSplitSize[i] = split->addAction(QLatin1String(SplitCaptions[i]));
        menuSplitSize[i]->setObjectName(QStringLiteral("menuSplitSize%1").arg(i));
        menuSplitSize[i]->setCheckable(true);
        splitGroup->addAction(menuSplitSize[i]);
        connect(menuSplitSize[i], &QAction::triggered, this,
                [this, i] { m_session.saver().menuSplitSize_Click(i); });
    }
    menuSplitSize[0]->setChecked(true);
    menuAddInitialAndFinalSilence =
        checkItem(book, "menuAddInitialAndFinalSilence",
                  "Add &initial and final silence to wav or mp3", first);
    connect(menuAddInitialAndFinalSilence, &QAction::toggled, this,
            [&save](bool on) { save.AddInitialAndFinalSilence = on; });
    QAction *subtitles = checkItem(book, "menuWriteSubtitles", "&Write subtitles", first);
    connect(subtitles, &QAction::toggled, this, [&save](bool on) { save.WriteSubtitles = on; });
    book->insertSeparator(first);
    menuSpeakVolumeTitleAndVolumeNumber = checkItem(book, "menuSpeakVolumeTitleAndVolumeNumber",
                                                    "Speak volume &title and volume number", first);
    menuSpeakVolumeNumberAndVolumeTitle = checkItem(book, "menuSpeakVolumeNumberAndVolumeTitle",
                                                    "Speak volume &number and volume title", first);
    book->insertSeparator(first);
    // The two orders exclude each other; both may be off.
    connect(menuSpeakVolumeTitleAndVolumeNumber, &QAction::toggled, this, [this, &save](bool on) {
        save.SpeakVolumeTitleAndVolumeNumber = on;
        if (on)
            menuSpeakVolumeNumberAndVolumeTitle->setChecked(false);
    });
    connect(menuSpeakVolumeNumberAndVolumeTitle, &QAction::toggled, this, [this, &save](bool on) {
        save.SpeakVolumeNumberAndVolumeTitle = on;
        if (on)
            menuSpeakVolumeTitleAndVolumeNumber->setChecked(false);
    });

    QAction *afterLanguages = nullptr;
    if (menuLanguageSelection) {
        const QList<QAction *> items = menuOptions->actions();
        const qsizetype at = items.indexOf(menuLanguageSelection->menuAction());
        afterLanguages = items.value(at + 1);
    }
    QMenu *mp3Menu = menuNamed(this, menuBar(), menuOptions, "menuMp3Format", "Select &mp3 format",
                               afterLanguages);
    auto *quality = new QActionGroup(mp3Menu);
    auto qualityItem = [&](const char *name, const char *caption, int level) {
        QAction *a = mp3Menu->addAction(QLatin1String(caption));
        a->setObjectName(QLatin1String(name));
        a->setCheckable(true);
        quality->addAction(a);
        connect(a, &QAction::toggled, this, [&save, level](bool on) {
            if (on)
                save.Mp3Quality = level;
        });
        return a;
    };
    menuOptimizeSize = qualityItem("menuOptimizeSize", "Optimize &Size", SaveToAudio::OptimizeSize);
    menuBalanced = qualityItem("menuBalanced", "&Balanced", SaveToAudio::Balanced);
    menuOptimizeQuality =
        qualityItem("menuOptimizeQuality", "Optimize &Quality", SaveToAudio::OptimizeQuality);
    menuBalanced->setChecked(true);

    if (menuAlwaysSaveAudioWithMaxVolume) {
        save.AlwaysSaveAudioWithMaxVolume = menuAlwaysSaveAudioWithMaxVolume->isChecked();
        connect(menuAlwaysSaveAudioWithMaxVolume, &QAction::toggled, this,
                [&save](bool on) { save.AlwaysSaveAudioWithMaxVolume = on; });
    }

    // The target: a file dialog that proposes the document's name and the last file type.
    save.ChooseTarget = [this](const QString &proposed, int &type) {
        const QString wav = Translate(QStringLiteral("Wav File (*.wav)"));
        const QString mp3 = Translate(QStringLiteral("Mp3 File (*.mp3)"));
        const QStringList others = {Translate(QStringLiteral("Ogg Vorbis File (*.ogg)")),
                                    Translate(QStringLiteral("Opus File (*.opus)")),
                                    Translate(QStringLiteral("FLAC File (*.flac)")),
                                    Translate(QStringLiteral("M4B Audiobook (*.m4b)"))};
        QString selected = type == SaveToAudio::FileTypeWav ? wav : mp3;
        const QString folder = m_session.saver().CurrentFilePath.isEmpty()
                                   ? QString()
                                   : QFileInfo(m_session.saver().CurrentFilePath).absolutePath();
        const QString path = QFileDialog::getSaveFileName(
            this, Translate(QStringLiteral("Save Audio File as...")),
            folder.isEmpty() ? proposed : folder + QLatin1Char('/') + proposed,
            QStringList({wav, mp3}).join(QStringLiteral(";;")) + QStringLiteral(";;") +
                others.join(QStringLiteral(";;")),
            &selected, QFileDialog::DontConfirmOverwrite);
        type = selected == mp3 ? SaveToAudio::FileTypeMp3 : SaveToAudio::FileTypeWav;
        if (others.contains(selected) && !path.isEmpty()) {
            // The save knows these formats by the target's extension.
            const QString extension = selected.section(QLatin1String("(*"), 1).chopped(1);
            if (!path.endsWith(extension, Qt::CaseInsensitive))
                return QString(path + extension);
        }
        if (path.isEmpty())
            Text1->setFocus();
        return path;
    };

    m_formWaitToSaving = new FormWaitToSaving(this);
    m_formWaitToSaving->hide();
    connect(m_formWaitToSaving, &FormWaitToSaving::abortRequested, this, [this] {
        m_session.AbortSaveToFile(); // the save step stops what the abort concerns
        m_session.SetTimerFast();
    });
    save.AggiornaFormWaitToSaving = [this](const QString &m1, const QString &m2, bool grayed,
                                           int percent) {
        AggiornaFormWaitToSaving(m1, m2, grayed, percent);
    };
    save.ShowProgressWindow = [this](bool visible) {
        if (!visible) {
            m_formWaitToSaving->hide();
        } else if (!m_session.HiddenMode) {
            m_formWaitToSaving->AggiornaFormWaitToSaving(
                Translate(QStringLiteral("Converting to wav...")),
                Translate(QStringLiteral("Total progress")), false, 0);
            m_formWaitToSaving->show();
            m_formWaitToSaving->raise();
        }
    };
    connect(&save, &SaveToAudio::saveFinished, this, [this](bool aborted) {
        if (aborted || !m_formWaitToSaving->shutdownAtEnd())
            return;
        m_formWaitToSaving->clearShutdownAtEnd();
        auto *countdown = new FormWaitToShutdown(this);
        countdown->open();
    });
}

void Form1::menuSaveAudioFileAs_Click()
{
    m_session.saver().CurrentFilePath = CurrentFilePath;
    m_session.menuSaveAudioFileAs_Click();
}

void Form1::AggiornaFormWaitToSaving(const QString &In_Messaggio1, const QString &In_Messaggio2,
                                     bool In_Messaggio2IsGrayed, int In_PercentualeDiAvanzamento)
{
    if (m_formWaitToSaving)
        m_formWaitToSaving->AggiornaFormWaitToSaving(
            In_Messaggio1, In_Messaggio2, In_Messaggio2IsGrayed, In_PercentualeDiAvanzamento);
}

void Form1::loadSaveSettings(const IniFile &ini)
{
    SaveToAudio &save = m_session.saver();
    if (!ini.existed()) {
        menuSpeakVolumeTitleAndVolumeNumber->setChecked(true);
        save.AudioFileType = SaveToAudio::FileTypeMp3;
        return;
    }
    auto read = [&](const char *key, const char *fallback) {
        return ini.read(Section, QLatin1String(key), QLatin1String(fallback));
    };
    const QString quality = read("Mp3Quality", "Balanced");
    if (quality == QLatin1String("OptimizeSize"))
        menuOptimizeSize->setChecked(true);
    else if (quality == QLatin1String("OptimizeQuality"))
        menuOptimizeQuality->setChecked(true);
    else
        menuBalanced->setChecked(true);
    menuRunWithIdlePriority->setChecked(IniBool(read("RunWithIdlePriority", "False")));
    menuSpeakVolumeNumberAndVolumeTitle->setChecked(
        IniBool(read("SpeakVolumeNumberAndVolumeTitle", "False")));
    menuSpeakVolumeTitleAndVolumeNumber->setChecked(
        IniBool(read("SpeakVolumeTitleAndVolumeNumber", "True")));
    menuAddInitialAndFinalSilence->setChecked(IniBool(read("AddInitialAndFinalSilence", "False")));
    findChild<QAction *>(QStringLiteral("menuWriteSubtitles"))
        ->setChecked(IniBool(read("WriteSubtitles", "False")));
    int split = IniVal(read("SplitMp3Size", "0"));
    if (split < 0 || split >= SaveToAudio::SplitSizeCount)
        split = 0;
    menuSplitSize[split]->setChecked(true);
    save.menuSplitSize_Click(split);
    save.AudioFileType = IniVal(read("ExtensionFilterIndex", "2")) == SaveToAudio::FileTypeWav
                             ? SaveToAudio::FileTypeWav
                             : SaveToAudio::FileTypeMp3;
}

void Form1::saveSaveSettings(IniFile &ini)
{
    const SaveToAudio &save = m_session.saver();
    auto write = [&](const char *key, const QString &value) {
        ini.write(Section, QLatin1String(key), value);
    };
    write("Mp3Quality", menuOptimizeSize->isChecked()      ? QStringLiteral("OptimizeSize")
                        : menuOptimizeQuality->isChecked() ? QStringLiteral("OptimizeQuality")
                                                           : QStringLiteral("Balanced"));
    write("RunWithIdlePriority", yesNo(menuRunWithIdlePriority->isChecked()));
    write("SpeakVolumeNumberAndVolumeTitle",
          yesNo(menuSpeakVolumeNumberAndVolumeTitle->isChecked()));
    write("SpeakVolumeTitleAndVolumeNumber",
          yesNo(menuSpeakVolumeTitleAndVolumeNumber->isChecked()));
    write("AddInitialAndFinalSilence", yesNo(menuAddInitialAndFinalSilence->isChecked()));
    write("WriteSubtitles", yesNo(save.WriteSubtitles));
    write("ExtensionFilterIndex", QString::number(save.AudioFileType));
    write("SplitMp3Size", QString::number(save.SplitSizeIndex));
}

// ---------------------------------------------------------------------------------------------
// The command line

bool Form1::ReadTextFile(const QString &path, QString &Out_Text, QString *error)
{
    if (!QFileInfo(path).isFile()) {
        if (error)
            *error = Translate(QStringLiteral("Cannot read the file %1.")).arg(path);
        return false;
    }
    Out_Text = ReadDocumentText(path, error);
    return !Out_Text.isNull();
}

int Form1::ExitStatus() const
{
    if (m_commandLineStatus != ExitSuccess)
        return m_commandLineStatus;
    const bool told = m_session.saver().BatchMode == 1 || m_session.HiddenMode;
    return told && m_session.saver().ExitStatus != 0 ? int(ExitCannotWrite) : int(ExitSuccess);
}

int Form1::ApplyRunOptions(const RunOptions &options, QString *message)
{
    if (!options.overridesSettings())
        return ExitSuccess;
    // What the command line chose holds for this run only.
    KeepIniFileInMemory(SettingsFilePath());
    if (!options.voice.isEmpty()) {
        if (VoiceCount() == 0)
            return ExitNoVoice; // told at start-up
        int found = -1;
        for (int i = 0; i < VoiceCount() && found < 0; ++i)
            if (Voices.at(i).Name.compare(options.voice.trimmed(), Qt::CaseInsensitive) == 0)
                found = i;
        if (found < 0) {
            *message = Translate(QStringLiteral("No voice is named %1: tonaris --list-voices "
                                                "lists them."))
                           .arg(options.voice);
            return ExitBadArguments;
        }
        ComboVoci->setCurrentIndex(found);
    }
    struct Level
    {
        std::optional<int> value;
        LevelSlider *slider;
        const char *option;
    };
    for (const Level &level : {Level{options.rate, PictureSpeedButton, "--rate"},
                               Level{options.pitch, PicturePitchButton, "--pitch"},
                               Level{options.volume, PictureVolumeButton, "--volume"}}) {
        if (!level.value)
            continue;
        if (*level.value < level.slider->minimum() || *level.value > level.slider->maximum()) {
            *message = Translate(QStringLiteral("%1 takes a number from %2 to %3."))
                           .arg(QLatin1String(level.option))
                           .arg(level.slider->minimum())
                           .arg(level.slider->maximum());
            return ExitBadArguments;
        }
        level.slider->setValue(*level.value);
    }
    if (!options.format.isEmpty()) {
        const int index =
            ComboAudioFormat->findText(options.format.simplified(), Qt::MatchFixedString);
        if (index < 0 || !ComboAudioFormat->isEnabled()) {
            *message = Translate(QStringLiteral("No audio format is named %1: choose one of the "
                                                "list, such as \"22 kHz 16 Bit Mono\"."))
                           .arg(options.format);
            return ExitBadArguments;
        }
        ComboAudioFormat->setCurrentIndex(index);
    }
    return ExitSuccess;
}

bool Form1::RunCommandLine(const CommandLine &commandLine)
{
    m_session.HiddenMode = commandLine.hidden;
    if (m_startFailed || VoiceCount() == 0) {
        // The reason has been told. Without a voice the window stays, empty and dead, and its
        // command line is not looked at; a hidden run has nothing left to show and ends.
        if (!m_startFailed && !commandLine.hidden)
            return true;
        m_commandLineStatus = m_startFailed ? ExitFailure : ExitNoVoice;
        return false;
    }
    auto failure = [this](const QString &message, int status = ExitUnreadableInput) {
        m_commandLineStatus = status;
        Dialogs::instance()->message(this, message, Dialogs::Exclamation,
                                     QStringLiteral("Tonaris"));
        return false;
    };
    QString readError;
    auto open = [this, &readError](const QString &path) {
        QString text;
        if (!ReadTextFile(path, text, &readError))
            return false;
        replaceText(text); // a failed read has left the editor as it was
        if (!text.isEmpty()) {
            CurrentFilePath = QFileInfo(path).absoluteFilePath();
            m_session.TextFolder = QFileInfo(path).absolutePath();
            setDocumentCaption();
        }
        return true;
    };

    switch (commandLine.action) {
    case CommandLine::None:
        if (commandLine.hidden)
            return failure(Translate(QStringLiteral(
                               "Nothing to do: with /hidden give a file and /play, /wav or /mp3 "
                               "(see --help).")),
                           ExitBadArguments);
        CheckScreenSize();
        Text1->setFocus();
        return true;
    case CommandLine::Open:
        if (commandLine.hidden)
            return failure(
                Translate(QStringLiteral(
                    "Nothing to do: with /hidden give /play, /wav or /mp3 (see --help).")),
                ExitBadArguments);
        CheckScreenSize();
        if (open(commandLine.file))
            Text1->setFocus();
        return true;
    case CommandLine::Play:
        if (!open(commandLine.file)) {
            if (commandLine.hidden)
                return failure(readError);
            return true;
        }
        if (!canSpeak() && commandLine.hidden) {
            m_commandLineStatus = ExitFailure; // "No audio devices available" was told
            return false;
        }
        if (!commandLine.hidden) {
            showMinimized();
            Text1->setFocus();
        }
        m_session.CommandSpeech_Click();
        if (commandLine.hidden && m_session.SpeechRequest != SpeechSession::RequestStart)
            return failure(
                Translate(QStringLiteral("The file %1 holds no text.")).arg(commandLine.file));
        return true;
    case CommandLine::Save: {
        if (!open(commandLine.file)) {
            if (commandLine.hidden)
                return failure(readError);
            return true;
        }
        SaveToAudio &save = m_session.saver();
        save.BatchMode = 1;
        save.BatchOutputFile = commandLine.output;
        save.BatchOutputFormat = commandLine.outputFormat == 0 ? 0 : 1;
        m_session.SpeechText = Text1->text();
        if (m_session.SpeechText.trimmed().isEmpty())
            return failure(
                Translate(QStringLiteral("The file %1 holds no text.")).arg(commandLine.file));
        m_session.SpeechRequest = SpeechSession::RequestSave;
        return true;
    }
    }
    return true;
}

} // namespace tonaris

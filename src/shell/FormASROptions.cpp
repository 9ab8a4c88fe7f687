#include "shell/FormASROptions.h"

#include "conversation/SpeechRecognizer.h"
#include "shell/TranslateForm.h"

#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace tonaris {

namespace {
// A frame holding one list, which a screen reader names by the label before it.
QComboBox *framedList(QGroupBox *frame, const char *name, const char *label)
{
    auto *caption = new QLabel(QLatin1String(label), frame);
    auto *combo = new QComboBox(frame);
    combo->setObjectName(QLatin1String(name));
    combo->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    combo->setMinimumContentsLength(32);
    caption->setBuddy(combo);
    auto *layout = new QVBoxLayout(frame);
    layout->addWidget(caption);
    layout->addWidget(combo);
    return combo;
}
} // namespace

FormASROptions::FormASROptions(SpeechRecognizer *recognizer, QWidget *parent)
    : QDialog(parent)
    , m_recognizer(recognizer)
{
    setObjectName(QStringLiteral("FormASROptions"));
    setWindowTitle(QStringLiteral("ASR options"));
    setModal(true);
    FrameRecognitionEngine = new QGroupBox(QStringLiteral("Select Recognition Engine"), this);
    FrameRecognitionEngine->setObjectName(QStringLiteral("FrameRecognitionEngine"));
    ComboRecognitionEngine =
        framedList(FrameRecognitionEngine, "ComboRecognitionEngine", "&Engine");
    FrameRecognitionAudioInput = new QGroupBox(QStringLiteral("Select Audio Input Device"), this);
    FrameRecognitionAudioInput->setObjectName(QStringLiteral("FrameRecognitionAudioInput"));
    ComboRecognitionInputDevice =
        framedList(FrameRecognitionAudioInput, "ComboRecognitionInputDevice", "&Input");

    CommandOK = new QPushButton(QStringLiteral("OK"), this);
    CommandOK->setObjectName(QStringLiteral("CommandOK"));
    CommandOK->setDefault(true);
    CommandCancel = new QPushButton(QStringLiteral("Cancel"), this);
    CommandCancel->setObjectName(QStringLiteral("CommandCancel"));
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(CommandOK);
    buttons->addWidget(CommandCancel);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(FrameRecognitionEngine);
    layout->addWidget(FrameRecognitionAudioInput);
    layout->addLayout(buttons);

    connect(CommandOK, &QPushButton::clicked, this, &FormASROptions::CommandOK_Click);
    connect(CommandCancel, &QPushButton::clicked, this, &FormASROptions::CommandCancel_Click);
    Form_Load();
}

void FormASROptions::Form_Load()
{
    TranslateForm(this);
    QStringList engines, inputs;
    int engine = 0, input = 0;
    m_recognizer->GetASROptions(engines, engine, inputs, input);
    if (engines.isEmpty() || inputs.isEmpty()) {
        QTimer::singleShot(0, this, &QWidget::close);
        return;
    }
    ComboRecognitionEngine->addItems(engines);
    ComboRecognitionInputDevice->addItems(inputs);
    ComboRecognitionEngine->setCurrentIndex(engine < engines.size() ? engine : 0);
    ComboRecognitionInputDevice->setCurrentIndex(input < inputs.size() ? input : 0);
    m_loaded = true;
}

void FormASROptions::CommandOK_Click()
{
    m_recognizer->SetASROptions(ComboRecognitionEngine->currentIndex(),
                                ComboRecognitionInputDevice->currentIndex());
    close();
}

void FormASROptions::CommandCancel_Click()
{
    close();
}

} // namespace tonaris

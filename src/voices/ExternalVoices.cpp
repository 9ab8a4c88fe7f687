#include "voices/ExternalVoices.h"

#include "audio/PcmFormat.h"
#include "config/KelPathManager.h"
#include "voices/TagInterpreter.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>

#include <cmath>

Q_LOGGING_CATEGORY(lcExternalVoices, "tonaris.voices.external", QtWarningMsg)

namespace tonaris {

namespace {

struct LanguageCode
{
    const char *tag;
    int code;
};

// Decimal codes of the languages voice programs offer; a bare language comes first and stands
// for its main country.
constexpr LanguageCode LanguageCodes[] = {
    {"en", 1033},    {"en-us", 1033},  {"en-gb", 2057},  {"en-au", 3081}, {"en-ca", 4105},
    {"en-ie", 6153}, {"en-in", 16393}, {"en-sc", 2057},  {"it", 1040},    {"ru", 1049},
    {"de", 1031},    {"de-at", 3079},  {"de-ch", 2055},  {"fr", 1036},    {"fr-ca", 3084},
    {"fr-be", 2060}, {"fr-ch", 4108},  {"el", 1032},     {"es", 1034},    {"es-es", 1034},
    {"es-mx", 2058}, {"es-ar", 11274}, {"es-cl", 13322}, {"pt", 2070},    {"pt-pt", 2070},
    {"pt-br", 1046}, {"ca", 1027},     {"nl", 1043},     {"nl-be", 2067}, {"sv", 1053},
    {"ja", 1041},    {"zh", 2052},     {"zh-cn", 2052},  {"zh-tw", 1028}, {"pl", 1045},
    {"cs", 1029},    {"sk", 1051},     {"hu", 1038},     {"fi", 1035},    {"da", 1030},
    {"nb", 1044},    {"no", 1044},     {"is", 1039},     {"tr", 1055},    {"uk", 1058},
    {"ro", 1048},    {"bg", 1026},     {"hr", 1050},     {"sr", 3098},    {"sl", 1060},
    {"et", 1061},    {"lv", 1062},     {"lt", 1063},     {"ar", 1025},    {"he", 1037},
    {"fa", 1065},    {"hi", 1081},     {"ko", 1042},     {"vi", 1066},    {"th", 1054},
    {"id", 1057},    {"ms", 1086},     {"ka", 1079},     {"kk", 1087},    {"sw", 1089},
    {"cy", 1106},    {"eu", 1069},     {"gl", 1110},     {"lb", 1134},    {"ne", 1121},
};

// flite's voices: (name, gender, language tag, default pitch in Hz). The default pitch is
// what the voice renders without a pitch setting, so the middle of the range sounds as
// the voice was built. awb_time speaks only clock times and is left out.
struct FliteVoice
{
    const char *name;
    bool female;
    const char *tag;
    int pitch;
    int sampleRate;
};
constexpr FliteVoice FliteVoices[] = {
    {"kal", false, "en-us", 95, 8000},   {"kal16", false, "en-us", 95, 16000},
    {"awb", false, "en-gb", 132, 16000}, {"rms", false, "en-us", 100, 16000},
    {"slt", true, "en-us", 172, 16000},
};

// The code of 16-bit mono audio at this rate; 10 when the rate is unknown or not offered.
int monoFormatCode(int sampleRate)
{
    const int code = CodeFromPcmFormat(PcmFormat{sampleRate, 1, 16});
    return code < 0 ? 10 : code;
}

bool programExists(const QString &program)
{
    if (program.isEmpty())
        return false;
    if (program.contains(QLatin1Char('/'))) {
        const QFileInfo info(program);
        return info.isFile() && info.isExecutable();
    }
    return !QStandardPaths::findExecutable(program).isEmpty();
}

VoiceInfo makeInfo(const QString &id, const QString &name, bool female, const QString &vendor,
                   const QString &tag, const QString &description)
{
    VoiceInfo info;
    info.id = id;
    info.name = name;
    info.gender = female ? QStringLiteral("FEMALE") : QStringLiteral("MALE");
    info.vendor = vendor;
    info.languageTag = tag;
    info.language = ExternalVoices::decimalLanguageCode(tag);
    info.description = description;
    return info;
}

// "80 175 450" or "80,175,450" into minimum, default, maximum; false when it is not that.
bool parseRange(const QString &text, int &min, int &def, int &max)
{
    static const QRegularExpression separators(QStringLiteral("[\\s,]+"));
    const QStringList parts = text.split(separators, Qt::SkipEmptyParts);
    if (parts.size() != 3)
        return false;
    bool ok[3];
    const int a = parts[0].toInt(&ok[0]), b = parts[1].toInt(&ok[1]), c = parts[2].toInt(&ok[2]);
    if (!ok[0] || !ok[1] || !ok[2] || a > b || b > c)
        return false;
    min = a, def = b, max = c;
    return true;
}

QString formatNumber(double value)
{
    if (!std::isfinite(value))
        return QStringLiteral("1");
    return QString::number(value, 'g', 4);
}

} // namespace

bool ExternalVoice::textOnStandardInput() const
{
    return std::none_of(arguments.begin(), arguments.end(),
                        [](const QString &a) { return a.contains(QLatin1String("{text}")); });
}

namespace ExternalVoices {

QString defaultEnginesFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/tonaris/engines.ini");
}

QString defaultPiperFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/tonaris/piper");
}

QList<ExternalVoice> discover(const QString &enginesFile)
{
    QList<ExternalVoice> all = fliteVoices();
    all += piperVoices();
    QStringList warnings;
    all += readEnginesFile(enginesFile, &warnings);
    for (const QString &w : std::as_const(warnings))
        qCWarning(lcExternalVoices) << w;
    // The catalogue tells voices apart by name.
    QSet<QString> names;
    for (ExternalVoice &v : all) {
        const QString base = v.info.name;
        for (int n = 2; names.contains(v.info.name); ++n)
            v.info.name = base + QStringLiteral(" (%1)").arg(n);
        names.insert(v.info.name);
    }
    return all;
}

QList<ExternalVoice> fliteVoices(const QString &program)
{
    if (!programExists(program))
        return {};
    QProcess process;
    process.start(program, {QStringLiteral("-lv")});
    if (!process.waitForFinished(5000) || process.exitStatus() != QProcess::NormalExit) {
        process.kill();
        process.waitForFinished(1000);
        qCWarning(lcExternalVoices) << program << "-lv gave no answer";
        return {};
    }
    QString listed = QString::fromLocal8Bit(process.readAllStandardOutput());
    listed.remove(QStringLiteral("Voices available:"));
    QList<ExternalVoice> voices;
    for (const QString &name :
         listed.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts)) {
        if (name.endsWith(QLatin1String("_time")))
            continue;
        FliteVoice known{nullptr, false, "en-us", 100, 0};
        for (const FliteVoice &f : FliteVoices)
            if (name == QLatin1String(f.name))
                known = f;
        ExternalVoice v;
        v.info = makeInfo(QStringLiteral("flite:") + name, QStringLiteral("Flite ") + name,
                          known.female, QStringLiteral("CMU Flite"), QLatin1String(known.tag),
                          QStringLiteral("CMU Flite voice ") + name);
        v.program = program;
        v.voice = name;
        v.arguments =
            QStringList{QStringLiteral("-voice"), QStringLiteral("{voice}"),
                        QStringLiteral("--setf"), QStringLiteral("duration_stretch={100/speed}"),
                        QStringLiteral("--setf"), QStringLiteral("int_f0_target_mean={pitch}"),
                        QStringLiteral("-f"),     QStringLiteral("{text}"),
                        QStringLiteral("-o"),     QStringLiteral("{output}")};
        // Speed in percent of the voice's own; pitch as the mean frequency in Hz.
        v.speedMin = 50, v.speedDefault = 100, v.speedMax = 200;
        v.pitchMin = known.pitch / 2, v.pitchDefault = known.pitch, v.pitchMax = known.pitch * 2;
        v.formatCode = monoFormatCode(known.sampleRate);
        voices.append(v);
    }
    return voices;
}

QList<ExternalVoice> piperVoices(const QString &folder, const QString &program)
{
    if (!programExists(program))
        return {};
    QList<ExternalVoice> voices;
    const QDir dir(folder);
    for (const QFileInfo &model :
         dir.entryInfoList({QStringLiteral("*.onnx")}, QDir::Files, QDir::Name)) {
        QFile config(model.filePath() + QStringLiteral(".json"));
        if (!config.open(QIODevice::ReadOnly))
            continue;
        const QJsonObject json = QJsonDocument::fromJson(config.readAll()).object();
        QString tag = json.value(QLatin1String("language"))
                          .toObject()
                          .value(QLatin1String("code"))
                          .toString();
        if (tag.isEmpty())
            tag = json.value(QLatin1String("espeak"))
                      .toObject()
                      .value(QLatin1String("voice"))
                      .toString();
        tag = tag.replace(QLatin1Char('_'), QLatin1Char('-')).toLower();
        const QString base = model.completeBaseName();
        ExternalVoice v;
        v.info = makeInfo(
            QStringLiteral("piper:") + model.filePath(),
            QStringLiteral("Piper ") + QString(base).replace(QLatin1Char('-'), QLatin1Char(' ')),
            false, QStringLiteral("Piper"), tag, QStringLiteral("Piper voice ") + base);
        v.program = program;
        v.voice = model.filePath();
        // The text goes to standard input; speed is percent, as piper takes a length factor.
        v.arguments = QStringList{QStringLiteral("--model"),        QStringLiteral("{voice}"),
                                  QStringLiteral("--config"),       config.fileName(),
                                  QStringLiteral("--output_file"),  QStringLiteral("{output}"),
                                  QStringLiteral("--length_scale"), QStringLiteral("{100/speed}")};
        v.speedMin = 50, v.speedDefault = 100, v.speedMax = 200;
        v.formatCode = monoFormatCode(json.value(QLatin1String("audio"))
                                          .toObject()
                                          .value(QLatin1String("sample_rate"))
                                          .toInt());
        voices.append(v);
    }
    return voices;
}

QList<ExternalVoice> readEnginesFile(const QString &path, QStringList *warnings)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    auto warn = [&](int line, const QString &what) {
        if (warnings)
            warnings->append(QStringLiteral("%1:%2: %3").arg(path).arg(line).arg(what));
    };

    struct Section
    {
        QString name;
        int line = 0;
        QList<QPair<QString, QString>> keys;
    };
    QList<Section> sections;
    int lineNumber = 0;
    while (!file.atEnd()) {
        ++lineNumber;
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')) ||
            line.startsWith(QLatin1Char(';')))
            continue;
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
            sections.append({line.mid(1, line.size() - 2).trimmed(), lineNumber, {}});
            continue;
        }
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (eq <= 0 || sections.isEmpty()) {
            warn(lineNumber, QStringLiteral("neither a section nor a key"));
            continue;
        }
        sections.last().keys.append(
            {line.left(eq).trimmed().toLower(), line.mid(eq + 1).trimmed()});
    }

    QList<ExternalVoice> voices;
    for (const Section &s : std::as_const(sections)) {
        ExternalVoice v;
        QString tag, gender, vendor, description;
        bool broken = false;
        for (const auto &[key, value] : s.keys) {
            if (key == QLatin1String("program"))
                v.program = value;
            else if (key == QLatin1String("arguments"))
                v.arguments = KelPathManager::SplitPathArguments(value);
            else if (key == QLatin1String("voice"))
                v.voice = value;
            else if (key == QLatin1String("language"))
                tag = value;
            else if (key == QLatin1String("gender"))
                gender = value;
            else if (key == QLatin1String("vendor"))
                vendor = value;
            else if (key == QLatin1String("description"))
                description = value;
            else if (key == QLatin1String("age"))
                v.info.age = value;
            else if (key == QLatin1String("speed"))
                broken |= !parseRange(value, v.speedMin, v.speedDefault, v.speedMax);
            else if (key == QLatin1String("pitch"))
                broken |= !parseRange(value, v.pitchMin, v.pitchDefault, v.pitchMax);
            else
                warn(s.line, QStringLiteral("unknown key \"%1\" ignored").arg(key));
        }
        if (s.name.isEmpty() || broken) {
            warn(s.line, QStringLiteral("a voice needs a name, and ranges as minimum, default, "
                                        "maximum"));
            continue;
        }
        if (!programExists(v.program)) {
            warn(s.line, QStringLiteral("program \"%1\" not found").arg(v.program));
            continue;
        }
        v.info = makeInfo(QStringLiteral("file:") + s.name, s.name,
                          gender.compare(QLatin1String("female"), Qt::CaseInsensitive) == 0, vendor,
                          tag, description.isEmpty() ? s.name : description);
        voices.append(v);
    }
    return voices;
}

QString decimalLanguageCode(const QString &tagOrCode)
{
    const QString tag = tagOrCode.trimmed().toLower().replace(QLatin1Char('_'), QLatin1Char('-'));
    bool numeric = false;
    const int code = tag.toInt(&numeric);
    if (numeric)
        return code > 0 ? QString::number(code) : QString();
    for (const LanguageCode &l : LanguageCodes)
        if (tag == QLatin1String(l.tag))
            return QString::number(l.code);
    // A country we do not know still tells the language.
    const QString language = tag.section(QLatin1Char('-'), 0, 0);
    if (language != tag)
        return decimalLanguageCode(language);
    return {};
}

QString stripInlineTags(const QString &text)
{
    QString out;
    out.reserve(text.size());
    for (const SpeechSegment &segment : InterpretTags(text, TagState()).segments)
        if (segment.kind == SpeechSegment::Text)
            out += segment.text;
    return out;
}

QStringList fillArguments(const ExternalVoice &voice, const ExternalRenderValues &values)
{
    // {name}, {number/name} or {name/number}
    static const QRegularExpression placeholder(
        QStringLiteral("\\{\\s*(?:([0-9]+(?:\\.[0-9]+)?)\\s*/\\s*)?([a-z]+)"
                       "(?:\\s*/\\s*([0-9]+(?:\\.[0-9]+)?))?\\s*\\}"));
    QStringList out;
    out.reserve(voice.arguments.size());
    for (const QString &argument : voice.arguments) {
        QString filled;
        qsizetype at = 0;
        for (auto it = placeholder.globalMatch(argument); it.hasNext();) {
            const QRegularExpressionMatch m = it.next();
            filled += QStringView(argument).mid(at, m.capturedStart() - at);
            at = m.capturedEnd();
            const QString name = m.captured(2);
            const bool scaled = m.hasCaptured(1) || m.hasCaptured(3);
            int number = 0;
            if (name == QLatin1String("speed"))
                number = values.speed;
            else if (name == QLatin1String("pitch"))
                number = values.pitch;
            else if (!scaled && name == QLatin1String("text"))
                filled += values.textFile;
            else if (!scaled && name == QLatin1String("output"))
                filled += values.outputFile;
            else if (!scaled && name == QLatin1String("voice"))
                filled += voice.voice;
            else
                filled += m.captured(0); // not ours: left as written
            if (name != QLatin1String("speed") && name != QLatin1String("pitch"))
                continue;
            if (m.hasCaptured(1))
                filled += formatNumber(m.captured(1).toDouble() / number);
            else if (m.hasCaptured(3))
                filled += formatNumber(number / m.captured(3).toDouble());
            else
                filled += QString::number(number);
        }
        filled += QStringView(argument).mid(at);
        out.append(filled);
    }
    return out;
}

} // namespace ExternalVoices

} // namespace tonaris

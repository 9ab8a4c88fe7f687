#!/usr/bin/env python3
"""Seeds hand-made faults into the sources one at a time and tells which tests catch each.

Usage: tests/seeded_faults.py BUILD_DIR [ID ...]
Run it from a checkout nobody else is working in (it edits src/ and puts each file back), with a
built BUILD_DIR configured for that checkout, and the test sound server's PULSE_SERVER set as
test.sh sets it. Tests run one at a time: the sound tests share one null sink.
"""
import os
import re
import subprocess
import sys

# (id, file, text to find, its faulty replacement, tests expected to fail, what the fault is)
FAULTS = [
    (1, 'src/conversation/Prattle.h',
     'std::array<int, 11> m_slots{};',
     'std::array<int, 10> m_slots{};',
     'conversation/tst_prattle', 'reply ring of 10 instead of 11'),
    (2, 'src/audio/WavWriter.cpp',
     'put32(28, quint32(format.sampleRate * format.bytesPerFrame()));',
     'put32(28, quint32(format.sampleRate * format.channels));',
     'audio/tst_wavwriter', 'WAV header byte rate ignores sample width'),
    (3, 'src/audio/WavWriter.cpp',
     'dataBytes == Unknown ? Unknown : dataBytes + 36',
     'dataBytes == Unknown ? Unknown : dataBytes + 44',
     'audio/tst_wavwriter', 'WAV header RIFF size off by 8'),
    (4, 'src/audio/WavReader.cpp',
     '(m_bits == 8 || m_bits == 16 ||',
     '(m_bits == 16 ||',
     'audio/tst_wavreader audio/tst_wavwriter', '8-bit PCM WAV refused'),
    (5, 'src/audio/PcmConverter.cpp',
     '(int(bytes8[i]) - 128) / 128.0f',
     'int(bytes8[i]) / 128.0f',
     'audio/tst_pcmconverter', 'unsigned 8-bit samples read as signed'),
    (6, 'src/shell/Form1Keys.cpp',
     'press(CommandSpeakPrevLine, [this] { m_session.CommandSpeakPrevLine_Click(); });',
     'press(CommandSpeakPrevLine, [this] { m_session.CommandSpeakNextLine_Click(); });',
     'shell/tst_window', 'F6 reads the next line instead of the previous one'),
    (7, 'src/shell/Form1Settings.cpp',
     '        write("IAReply", yesNo(CheckIA->isChecked()));\n',
     '',
     'shell/tst_conversation', 'settings key IAReply no longer written'),
    (8, 'src/shell/Form1Settings.cpp',
     'write("Pitch", QString::number(CurrentPitch()));',
     'write("Pitch", QString::number(CurrentSpeed()));',
     'shell/tst_form1', 'Pitch saved from the speed knob'),
    (9, 'src/session/ScriptFlow.cpp',
     '            } else if (l.startsWith(EndRandom)) {\n                if (depth == 1)',
     '            } else if (l.startsWith(EndRandom)) {\n                if (depth >= 1)',
     'session/tst_speechsession', '#RANDOM block ends at a nested #END RANDOM'),
    (10, 'src/textprep/ConversionsTable.cpp',
     '        if (rule.key.isEmpty())\n            continue;',
     '        if (rule.key.isEmpty() || &rule == &rules.back())\n            continue;',
     'textprep/tst_textprep', 'last conversion rule of a table skipped'),
    (11, 'src/textprep/ConversionsTable.cpp',
     'QRegularExpression::CaseInsensitiveOption |',
     '',
     'textprep/tst_textprep', 'regex conversions become case-sensitive'),
    (12, 'src/textprep/InlineTags.cpp',
     'return TagVolumeHead + quoted(QStringLiteral("50")) + TagEmptyTail;',
     'return TagVolumeHead + quoted(QStringLiteral("100")) + TagEmptyTail;',
     'textprep/tst_text textprep/tst_textprep shell/tst_textprepmenus', 'wrong default in the inserted Volume tag'),
    (13, 'src/voices/TagInterpreter.cpp',
     'constexpr int MaxLevel = 10;',
     'constexpr int MaxLevel = 9;',
     'voices/tst_taginterpreter', 'rate/pitch tag clamped at 9 instead of 10'),
    (14, 'src/voices/EspeakEngine.cpp',
     'std::pow(3.0, std::clamp(rate, -10, 10) / 10.0)',
     'std::pow(2.0, std::clamp(rate, -10, 10) / 10.0)',
     'voices/tst_espeakengine', 'engine rate scale too narrow'),
    (15, 'src/voices/ExternalVoices.cpp',
     'a > b || b > c',
     'a > c',
     'voices/tst_externalvoices', 'engines.ini range accepts default outside min..max'),
    (16, 'src/session/KeywordLines.cpp',
     '    } else if (is("#BREAK")) {\n        SplitNow = true;',
     '    } else if (is("#BREAK")) {\n        SplitNow = false;',
     'session/tst_savetoaudio', '#BREAK no longer splits a volume'),
    (17, 'src/session/SaveToAudio.cpp',
     's.AudioCharsWritten > AudioVolumeLimit ||',
     's.AudioCharsWritten > 2 * AudioVolumeLimit ||',
     'session/tst_savetoaudio', 'volumes twice as long as the chosen split'),
    (18, 'src/session/KeywordLines.cpp',
     'QString::number(seconds * 1000)',
     'QString::number(seconds * 100)',
     'session/tst_savetoaudio', '#WAIT in a save writes a tenth of the silence'),
    (19, 'src/session/SpeechSession.cpp',
     '            m_editor->SetSelStart(m_editor->GetPosStartFromLineIndex(SpeechLineIndex - 1));',
     '            m_editor->SetSelStart(m_editor->GetPosStartFromLineIndex(SpeechLineIndex));',
     'session/tst_speechsession shell/tst_form1', 'caret after stop one line too far'),
    (20, 'src/config/ProgramConsent.cpp',
     'if (m_hiddenMode || !m_question)',
     'if (!m_question)',
     'config/tst_startprogram', 'hidden mode runs a program nobody allowed'),
    (21, 'src/config/ProgramConsent.cpp',
     '    if (fromClipboard)\n        return false;',
     '    if (fromClipboard && m_hiddenMode)\n        return false;',
     'config/tst_startprogram', 'a text from the clipboard may start programs'),
    (22, 'src/config/CommandLine.cpp',
     '(command == QLatin1String("/wav") || command == QLatin1String("/mp3"))',
     '(command == QLatin1String("/wav"))',
     'config/tst_commandline', '/mp3 FILE not recognised on the command line'),
    (23, 'src/documents/HtmlToText.cpp',
     '{"amp", 38}',
     '{"amp", 39}',
     'documents/tst_readers', '&amp; decoded to an apostrophe'),
    (24, 'src/documents/KelRTF.cpp',
     'if (word == "par" || word == "line"',
     'if (word == "line"',
     'documents/tst_readers', 'RTF \\par no longer ends a line'),
    (25, 'src/config/TextCodec.cpp',
     'uchar(bytes[0]) == 0xFF && uchar(bytes[1]) == 0xFE',
     'uchar(bytes[0]) == 0xFF && uchar(bytes[1]) == 0xFF',
     'config/tst_settings textprep/tst_textprep documents/tst_readers', 'UTF-16 LE byte-order mark not recognised'),
    (26, 'src/textprep/Text.cpp',
     'd->document()->findBlockByNumber(lineIndex)',
     'd->document()->findBlockByNumber(lineIndex + 1)',
     'textprep/tst_text shell/tst_form1', 'line start of the next line (off by one)'),
    (27, 'src/textprep/ReturnCarriages.cpp',
     'if (p > 1 && p < total - 3) {',
     'if (p > 1 && p < total - 5) {',
     'textprep/tst_textprep', 'line break near the end of the text no longer joined'),
    (28, 'src/session/SaveToAudio.cpp',
     'static const char *const builtIn[] = {"24", "40", "64"};',
     'static const char *const builtIn[] = {"24", "48", "64"};',
     'session/tst_savetoaudio', 'wrong MP3 bit-rate preset'),
    (29, 'src/session/BatchConversion.cpp',
     'filePath(info.completeBaseName())',
     'filePath(info.baseName())',
     'session/tst_batchconversion shell/tst_saving', 'batch output name cut at the first dot'),
    (30, 'src/shell/Form1Menus.cpp',
     '    {"menuSaveTextFile"},\n    {"menuSaveTextFileAs"},',
     '    {"menuSaveTextFileAs"},\n    {"menuSaveTextFile"},',
     'shell/tst_window shell/tst_documentswindow', 'File menu items out of order'),
    (31, 'src/shell/LevelSlider.cpp',
     'value = std::clamp(value, t.minimum, t.maximum);',
     'value = std::clamp(value, t.minimum, t.maximum - 1);',
     'shell/tst_levelslider', 'knob cannot reach its maximum'),
    (32, 'src/audio/Beep.cpp',
     'const double step = 2 * M_PI * frequencyHz / rate;',
     'const double step = M_PI * frequencyHz / rate;',
     'audio/tst_beep', 'beep at half the asked frequency'),
]


def main():
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    build = os.path.abspath(sys.argv[1])
    wanted = {int(a) for a in sys.argv[2:]}
    missed = 0
    for fid, path, find, replace, tests, what in FAULTS:
        if wanted and fid not in wanted:
            continue
        source = os.path.join(root, path)
        with open(source, encoding="utf-8") as f:
            original = f.read()
        if find not in original:
            print(f"{fid:2} NOT FOUND  {path}: the code changed, update the table")
            missed += 1
            continue
        names = tests.split()
        try:
            with open(source, "w", encoding="utf-8") as f:
                f.write(original.replace(find, replace, 1))
            built = subprocess.run(["cmake", "--build", build, "-j2", "--target"] +
                                   [n.split("/")[1] for n in names], capture_output=True, text=True)
            if built.returncode != 0:
                print(f"{fid:2} NO BUILD   {what}")
                missed += 1
                continue
            run = subprocess.run(["ctest", "--test-dir", build, "--timeout", "600", "-R",
                                  "|".join(f"^{n}$" for n in names)], capture_output=True, text=True)
            failed = re.findall(r"\d+ - (\S+) \(", run.stdout)
            print(f"{fid:2} {'caught by ' + ', '.join(failed) if failed else 'MISSED':40} {what}",
                  flush=True)
            missed += not failed
        finally:
            with open(source, "w", encoding="utf-8") as f:
                f.write(original)
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())

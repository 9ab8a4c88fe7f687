// E-books and office documents: the XML of DOCX, ODT and FB2, and whole EPUB and DOCX files (zip
// containers). The first byte picks the reader.
#include "FuzzSupport.h"
#include "documents/PackagedDocuments.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArray input = tonaris::fuzz::bytes(data + 1, size - 1);
    QString problem, text, error;
    switch (data[0] % 5) {
    case 0:
        (void)tonaris::DocxXmlToText(input, problem);
        break;
    case 1:
        (void)tonaris::OdtXmlToText(input, problem);
        break;
    case 2:
        (void)tonaris::Fb2XmlToText(input, problem);
        break;
    case 3:
        (void)tonaris::ReadEpubFile(tonaris::fuzz::scratchFile(input, QStringLiteral(".epub")),
                                    text, error);
        break;
    default:
        (void)tonaris::ReadDocxFile(tonaris::fuzz::scratchFile(input, QStringLiteral(".docx")),
                                    text, error);
    }
    return 0;
}

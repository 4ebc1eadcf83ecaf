#include "plugin/AlErrorReport.h"

#include "kep/Messages.h"

QString AlErrorMessage(ALenum code) {
    // The texts are kept as users know them, uneven punctuation included.
    switch (code) {
        case AL_NO_ERROR:
            return QStringLiteral("No error");
        case AL_INVALID_NAME:
            return QStringLiteral("Invalid Name parameter passed to AL call.");
        case AL_INVALID_ENUM:
            return QStringLiteral("Invalid enum. Invalid parameter passed to AL call");
        case AL_INVALID_VALUE:
            return QStringLiteral("Invalid enum parameter value.");
        case AL_INVALID_OPERATION:
            return QStringLiteral("Illegal call.");
        case AL_OUT_OF_MEMORY:
            return QStringLiteral("Out of memory.");
        default:
            return QStringLiteral("Unknown error.");
    }
}

void ReportAlError(const char* label, ALenum code) {
    kep::Error()("SoundSystem::OpenAL::{}: {}", label, AlErrorMessage(code).toStdString());
}

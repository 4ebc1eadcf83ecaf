#include "plugin/Translation.h"

#include <QCoreApplication>

std::string Translate(const char* context, const char* text) {
    return QCoreApplication::translate(context, text).toStdString();
}

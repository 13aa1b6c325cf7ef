#pragma once

#include <QLocale>
#include <QStringList>

// Puts the helper's translations into the application: English underneath, so that
// a key the user's language lacks still reads in English, and the user's language on
// top. Files are "tarnwick-helper_<language>.qm"; a language is added by dropping
// its file into one of the searchFolders().
//
// GUI thread, with the application object alive; the translators belong to it.
class TranslationLoader
{
public:
    static constexpr const char *kBaseName = "tarnwick-helper";
    static constexpr const char *kEmbeddedFolder = ":/translations";

    // Replaces whatever an earlier call installed (a language switch, or tests).
    static void installTranslations(const QLocale &locale = QLocale());
    // Where the files are looked for; for each language the first folder that has
    // it wins: "translations" beside the executable, "tarnwick-helper/translations"
    // in the user's and the system's data folders, the install prefix's, and the
    // copies built into the program.
    static QStringList searchFolders();
    // The files the last installTranslations() loaded, English first.
    static QStringList loadedFiles();
};

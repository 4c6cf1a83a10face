/// @file
/// The library's own translations of the texts it shows: the indeterminate
/// marker "<Multiple Values>", tool tips and warnings. They are compiled into
/// the library; an application installs them for its locale with one call,
/// after creating its QApplication:
///
/// @code
/// ConfigDialogs::installTranslator(QLocale());   // the system's locale
/// @endcode
///
/// Catalogues are available for German ("de"). The source texts are English.
#pragma once

#include <ConfigDialogs/configdialogs_export.h>

#include <QLocale>
#include <QString>

namespace ConfigDialogs {

/// Installs the library's catalogue for `locale` into the running
/// application, replacing the one an earlier call installed, so that the
/// texts the library shows from then on are translated. The catalogue is
/// chosen from the locale's UI languages, most specific first
/// ("de_AT" falls back to "de").
///
/// Returns true when a catalogue was found and installed. Returns false,
/// with the earlier catalogue removed, when there is none for `locale`
/// (the English source texts show then), and false with nothing changed
/// when no QCoreApplication exists. Texts already shown are not updated;
/// widgets bound afterwards show the new language. GUI thread only.
CONFIGDIALOGS_EXPORT bool installTranslator(const QLocale& locale = QLocale());

/// The resource path of the library's catalogue for language code `language`
/// (for instance "de" gives ":/i18n/configdialogs_de.qm"), whether or not
/// there is one. For applications that load catalogues themselves.
CONFIGDIALOGS_EXPORT QString translationPath(const QString& language);

} // namespace ConfigDialogs

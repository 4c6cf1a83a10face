# Checks the dynamic symbol table of the shared library against the
# visibility of the property-widget functions: the helpers that the unit keeps
# to itself must not be exported, and the functions dialogs call must be.
#
#   cmake -DNM=<nm> -DLIBRARY=<libConfigDialogs.so> [-DQT_MAJOR_VERSION=6] -P propertywidgets_exports.cmake
#
# Symbols are compared by their demangled signature with all blanks removed,
# so "QComboBox const*" and "QComboBoxconst*" are the same.

cmake_minimum_required(VERSION 3.16)

if(NOT NM OR NOT LIBRARY)
    message(FATAL_ERROR "usage: cmake -DNM=<nm> -DLIBRARY=<shared library> -P ${CMAKE_CURRENT_LIST_FILE}")
endif()

# Functions of which every overload stays inside the library.
set(internal_names
    kq::indexOf
    kq::findClosestData
    kq::translatePropertyValue
    kq::setValueRange
    kq::mergeValueRange
    kq::setPropertyValue
    kq::mergePropertyValue
    kq::setListToolTip
)

# Single overloads that stay inside the library while others are exported.
set(internal_signatures
    "kq::setProperty(kq::TMultiOptions<QString>&, QListWidget const*)"
    "kq::setProperty(kq::TOptions<QString>&, QCheckBox const*)"
    "kq::updateLineEdit(QLineEdit*, kq::TProperty<kq::StringInfo> const*)"
    "kq::updateCheckBox(QCheckBox*, kq::TProperty<kq::BoolInfo> const*)"
    "kq::updateCheckBox(QCheckBox*, kq::TProperty<kq::TOptionsInfo<kq::EStringOptionsProperty, kq::TOptions<QString> > > const*)"
    "kq::updateComboBox(QComboBox*, kq::TOptions<int> const&, bool)"
    "kq::updateComboBox(QComboBox*, kq::TOptions<double> const&, bool)"
    "kq::updateComboBox(QComboBox*, kq::TOptions<QString> const&)"
    "kq::updateComboBox(QComboBox*, kq::TProperty<kq::TOptionsInfo<kq::ELongOptionsProperty, kq::TOptions<int> > > const*, bool)"
    "kq::updateComboBox(QComboBox*, kq::TProperty<kq::TOptionsInfo<kq::EDoubleOptionsProperty, kq::TOptions<double> > > const*, bool)"
    "kq::updateListWidget(QListWidget*, kq::TMultiOptions<QString> const&)"
    "kq::updateListWidget(QListWidget*, kq::TProperty<kq::TMultiOptionsInfo<kq::EStringMultiOptionsProperty, kq::TMultiOptions<QString> > > const*)"
    "kq::updateEventListWidget(QListWidget*, kq::TMultiOptions<QString> const&, QVector<QString> const&)"
    "kq::updateEventListWidget(QListWidget*, kq::TProperty<kq::TMultiOptionsInfo<kq::EStringMultiOptionsProperty, kq::TMultiOptions<QString> > > const*, QVector<QString> const&)"
)

# What dialogs call: value ranges, reading and writing values, session-bound
# update and reset, event lists. Finding these also proves that the symbol
# table was read at all.
set(session "kqm::smart<kq::INodeConfigSession const>")
set(string_options "kq::TProperty<kq::TOptionsInfo<kq::EStringOptionsProperty, kq::TOptions<QString> > >")
set(long_options "kq::TProperty<kq::TOptionsInfo<kq::ELongOptionsProperty, kq::TOptions<int> > >")
set(double_options "kq::TProperty<kq::TOptionsInfo<kq::EDoubleOptionsProperty, kq::TOptions<double> > >")
set(multi_options "kq::TProperty<kq::TMultiOptionsInfo<kq::EStringMultiOptionsProperty, kq::TMultiOptions<QString> > >")
set(exported_signatures
    "kq::addValue(QListWidget*, QString const&, bool, int)"
    "kq::addValue(QComboBox*, QString const&, bool)"
    "kq::addValue(QComboBox*, int, bool)"
    "kq::addValue(QComboBox*, double, bool)"
    "kq::findItem(QListWidget const*, QString const&)"
    "kq::findItem(QListWidget*, QString const&)"
    "kq::resetSpinBox(QSpinBox*, double, int, int, int)"
    "kq::resetSpinBox(QDoubleSpinBox*, double, int, int, int)"
    "kq::resetRadioButton(QRadioButton*, QString const&)"
    "kq::updatePortSpinBox(QSpinBox*, int)"
    "kq::propertyValue(QComboBox const*)"
    "kq::propertyValue(QListWidgetItem const*)"
    "kq::longPropertyValue(QComboBox const*)"
    "kq::doublePropertyValue(QComboBox const*)"
    "kq::stringPropertyValue(QComboBox const*)"
    "kq::setProperty(kq::TProperty<kq::BoolInfo>*, QComboBox const*)"
    "kq::setProperty(kq::TProperty<kq::BoolInfo>*, QCheckBox const*)"
    "kq::setProperty(kq::TProperty<kq::LongInfo>*, QSpinBox const*)"
    "kq::setProperty(kq::TProperty<kq::StringInfo>*, QLineEdit const*)"
    "kq::setProperty(${long_options}*, QSpinBox const*)"
    "kq::setProperty(${long_options}*, QComboBox const*)"
    "kq::setProperty(${double_options}*, QComboBox const*)"
    "kq::setProperty(${string_options}*, QComboBox const*)"
    "kq::setProperty(${session}, QComboBox const*)"
    "kq::setProperty(${string_options}*, QRadioButton const*)"
    "kq::setProperty(${session}, QRadioButton const*)"
    "kq::setProperty(${string_options}*, QCheckBox const*)"
    "kq::setProperty(${multi_options}*, QListWidget const*)"
    "kq::updateLabel(QLabel*, QString const&)"
    "kq::updateLabel(QLabel*, kq::TProperty<kq::StringInfo> const*)"
    "kq::updateLabel(QLabel*, QString const&, QString const&, QString const&)"
    "kq::updateLabel(QLabel*, ${session}, kq::EStringProperty)"
    "kq::updateLabel(QLabel*, QString const&, ${session}, kq::EStringProperty, kq::EStringProperty)"
    "kq::updateLineEdit(QLineEdit*, ${session}, kq::EStringProperty)"
    "kq::updateSpinBox(QSpinBox*, kq::TProperty<kq::LongInfo>*)"
    "kq::updateSpinBox(QSpinBox*, ${long_options}*, bool)"
    "kq::updateSpinBox(QSpinBox*, ${session}, kq::ELongProperty)"
    "kq::updateSpinBox(QSpinBox*, ${session}, kq::ELongOptionsProperty, bool)"
    "kq::updateCheckBox(QCheckBox*, kq::TProperty<kq::ProfilesInfo> const*)"
    "kq::updateCheckBox(QCheckBox*, ${session}, kq::EBoolProperty)"
    "kq::updateCheckBox(QCheckBox*, ${session}, kq::EStringOptionsProperty)"
    "kq::updateComboBox(QComboBox*, ${string_options} const*)"
    "kq::updateComboBox(QComboBox*, ${session}, kq::EBoolProperty)"
    "kq::updateComboBox(QComboBox*, ${session}, kq::ELongOptionsProperty, bool)"
    "kq::updateComboBox(QComboBox*, ${session}, kq::EDoubleOptionsProperty, bool)"
    "kq::updateComboBox(QComboBox*, ${session}, kq::EStringOptionsProperty)"
    "kq::updateRadioButton(QRadioButton*, ${string_options} const*)"
    "kq::updateRadioButton(QRadioButton*, ${session}, kq::EStringOptionsProperty)"
    "kq::updateListWidget(QListWidget*, ${session}, kq::EStringMultiOptionsProperty)"
    "kq::resetLabel(QLabel*)"
    "kq::resetLineEdit(QLineEdit*)"
    "kq::resetListWidget(QListWidget*, QString (*)(QString const&))"
    "kq::resetComboBox(QComboBox*, QString (*)(double))"
    "kq::resetComboBox(QComboBox*, QString (*)(QString const&))"
    "kq::resetComboBox(QComboBox*, QString const&, QString const&)"
    "kq::resetCheckBox(QCheckBox*)"
    "kq::resetCheckBox(QCheckBox*, QString const&, QString const&)"
    "kq::updateEventListWidget(QListWidget*, ${session}, kq::EStringMultiOptionsProperty, QVector<QString> const&)"
    "kq::markEnabledEvents(QListWidget*, QVector<QString>&)"
    "kq::disableEventListWidgetItems(QListWidget*, QVector<QString> const&)"
)

execute_process(COMMAND "${NM}" -DC --defined-only "${LIBRARY}"
    OUTPUT_VARIABLE nm_output
    ERROR_VARIABLE nm_error
    RESULT_VARIABLE nm_result)
if(NOT nm_result EQUAL 0)
    message(FATAL_ERROR "${NM} failed on ${LIBRARY} (${nm_result}): ${nm_error}")
endif()

# Square brackets and semicolons would confuse CMake's list splitting
# ("[abi:cxx11]" appears in demangled names); none of the checked signatures
# holds one.
string(REPLACE "[" "<" nm_output "${nm_output}")
string(REPLACE "]" ">" nm_output "${nm_output}")
string(REPLACE ";" "," nm_output "${nm_output}")
string(REPLACE "\n" ";" nm_lines "${nm_output}")

# Defined function symbols, blanks removed.
set(functions)
foreach(line IN LISTS nm_lines)
    if(line MATCHES "^[0-9a-fA-F]+ [TtWwi] (.+)$")
        string(REGEX REPLACE "[ \t]" "" signature "${CMAKE_MATCH_1}")
        list(APPEND functions "${signature}")
    endif()
endforeach()
list(LENGTH functions function_count)

# A wanted signature as the symbol table spells it: no blanks, and since
# Qt 6, where QVector<T> is another name for QList<T>, QList.
macro(normalize var)
    string(REGEX REPLACE "[ \t]" "" ${var} "${${var}}")
    if(QT_MAJOR_VERSION GREATER_EQUAL 6)
        string(REPLACE "QVector<" "QList<" ${var} "${${var}}")
    endif()
endmacro()

set(problems)
foreach(name IN LISTS internal_names)
    foreach(signature IN LISTS functions)
        string(FIND "${signature}" "${name}(" position)
        if(position EQUAL 0)
            list(APPEND problems "exported but internal: ${signature}")
        endif()
    endforeach()
endforeach()
foreach(wanted IN LISTS internal_signatures)
    normalize(wanted)
    if(wanted IN_LIST functions)
        list(APPEND problems "exported but internal: ${wanted}")
    endif()
endforeach()
foreach(wanted IN LISTS exported_signatures)
    normalize(wanted)
    if(NOT wanted IN_LIST functions)
        list(APPEND problems "not exported: ${wanted}")
    endif()
endforeach()

list(LENGTH exported_signatures exported_count)
if(problems)
    list(LENGTH problems problem_count)
    string(REPLACE ";" "\n  " listing "${problems}")
    message(FATAL_ERROR "${problem_count} visibility problem(s) in ${LIBRARY} "
        "(${function_count} exported functions read):\n  ${listing}")
endif()
message(STATUS "${function_count} exported functions read; ${exported_count} required ones found, "
    "no internal one exported")

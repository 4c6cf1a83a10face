// Soak run of the demo's camera settings: the real main window over a set of
// generated cameras, driven with mouse and key events the way an operator
// works, one random action after another, with the invariants checked after
// every action (see soak_testsupport.h for the actions and the checks).
//
//   tst_demosoak                        300 actions with seed 1 (the ctest run;
//                                       30 in a sanitizer build)
//   tst_demosoak --seconds 60 --seed 7  as many actions as fit in a minute
//   tst_demosoak --replay steps.txt     the actions of a file, in order
//   tst_demosoak --replay steps.txt --shrink
//                                       the shortest failing list found by
//                                       removing chunks of the file's actions
//
// The actions are written one a line, as they run, to a file (--steps-out,
// default soak-steps.txt) that --replay reads back; a failure prints the seed,
// the failed check and the actions. Exit status 0 when every check held, 1 on a failure, 2 on bad
// arguments.

#include "soak_testsupport.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTextStream>

#include <cstdio>

namespace {

void print(const QString& text)
{
    std::fputs(qPrintable(text + QLatin1Char('\n')), stdout);
    std::fflush(stdout);
}

bool writeSteps(const QString& path, const soak::Script& script)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        return false;
    file.write(script.toText().toUtf8());
    return true;
}

void reportFailure(const soak::Script& script, const soak::Outcome& outcome, const QString& stepsOut,
    const QString& program)
{
    print(QStringLiteral("soak: FAILED after %1 actions: %2").arg(outcome.actions).arg(outcome.failure));
    print(QStringLiteral("soak: seed %1; the actions:").arg(script.seed));
    print(script.toText().trimmed());
    if (writeSteps(stepsOut, script)) {
        print(QStringLiteral("soak: replay with: %1 --replay %2").arg(program, stepsOut));
        print(QStringLiteral("soak: shrink with: %1 --replay %2 --shrink").arg(program, stepsOut));
    } else {
        print(QStringLiteral("soak: cannot write %1").arg(stepsOut));
    }
}

// The offscreen platform says so each time a window asks for what it does
// not do (raise, grab the keyboard...), hundreds of times a minute; the rest
// goes to the default handler.
QtMessageHandler defaultHandler = nullptr;
void quietPlatform(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (!message.startsWith(QLatin1String("This plugin does not support")))
        defaultHandler(type, context, message);
}

} // namespace

int main(int argc, char** argv)
{
    defaultHandler = qInstallMessageHandler(quietPlatform);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("configdialogs-demo"));
    // Saving the built-in cameras must not touch the user's own copy.
    QStandardPaths::setTestModeEnabled(true);

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Soak run of the demo's camera settings"));
    parser.addHelpOption();
    const QCommandLineOption seedOption(QStringLiteral("seed"), QStringLiteral("Random seed (default 1)."),
        QStringLiteral("n"), QStringLiteral("1"));
    const QCommandLineOption actionsOption(QStringLiteral("actions"),
        QStringLiteral("Number of actions (default %1 without --seconds).").arg(CONFIGDIALOGS_SOAK_ACTIONS), QStringLiteral("n"));
    const QCommandLineOption secondsOption(
        QStringLiteral("seconds"), QStringLiteral("Run for this long instead."), QStringLiteral("s"));
    const QCommandLineOption camerasOption(QStringLiteral("cameras"),
        QStringLiteral("Number of generated cameras (default 40)."), QStringLiteral("n"), QStringLiteral("40"));
    const QCommandLineOption replayOption(
        QStringLiteral("replay"), QStringLiteral("Run the actions of a file."), QStringLiteral("file"));
    const QCommandLineOption shrinkOption(
        QStringLiteral("shrink"), QStringLiteral("With --replay: find a short failing list."));
    const QCommandLineOption stepsOutOption(QStringLiteral("steps-out"),
        QStringLiteral("Where a failing list is written (default soak-steps.txt)."), QStringLiteral("file"),
        QStringLiteral("soak-steps.txt"));
    parser.addOptions({ seedOption, actionsOption, secondsOption, camerasOption, replayOption, shrinkOption,
        stepsOutOption });
    parser.process(app);

    bool ok = true;
    const auto number = [&](const QCommandLineOption& option) {
        bool valid = false;
        const qint64 value = parser.value(option).toLongLong(&valid);
        ok = ok && valid && value >= 0;
        return value;
    };
    const QString program = QCoreApplication::arguments().value(0);
    const QString stepsOut = parser.value(stepsOutOption);

    QTemporaryDir scratch;
    if (!scratch.isValid()) {
        print(QStringLiteral("soak: no scratch directory"));
        return 2;
    }

    if (parser.isSet(replayOption)) {
        QFile file(parser.value(replayOption));
        soak::Script script;
        QString why;
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text)
            || !soak::Script::fromText(QString::fromUtf8(file.readAll()), &script, &why)) {
            print(QStringLiteral("soak: cannot replay %1: %2")
                      .arg(file.fileName(), why.isEmpty() ? file.errorString() : why));
            return 2;
        }
        soak::Outcome outcome = soak::replay(script, scratch.path());
        if (outcome.failure.isEmpty()) {
            print(QStringLiteral("soak: %1 actions, 0 failures").arg(outcome.actions));
            return 0;
        }
        if (parser.isSet(shrinkOption)) {
            print(QStringLiteral("soak: %1; shrinking %2 actions").arg(outcome.failure).arg(script.steps.size()));
            script = soak::shrink(script, scratch.path(), [](const QString& line) { print(line); });
            outcome = soak::replay(script, scratch.path());
        }
        reportFailure(script, outcome, stepsOut, program);
        return 1;
    }

    const quint32 seed = quint32(number(seedOption));
    const int cameras = int(number(camerasOption));
    const qint64 actions = parser.isSet(actionsOption) ? number(actionsOption) : -1;
    const qint64 seconds = parser.isSet(secondsOption) ? number(secondsOption) : -1;
    if (!ok || cameras < 1) {
        print(QStringLiteral("soak: bad arguments; see --help"));
        return 2;
    }

    soak::Limits limits;
    limits.actions = actions >= 0 ? actions : (seconds >= 0 ? -1 : CONFIGDIALOGS_SOAK_ACTIONS);
    limits.milliseconds = seconds >= 0 ? seconds * 1000 : -1;
    limits.progress = [](const QString& line) { print(line); };
    limits.journal = stepsOut;
    soak::Script script;
    script.seed = seed;
    script.cameras = cameras;
    print(QStringLiteral("soak: seed %1, %2 cameras").arg(seed).arg(cameras));
    QElapsedTimer clock;
    clock.start();
    const soak::Outcome outcome = soak::explore(&script, scratch.path(), limits);
    const double elapsed = qMax<qint64>(clock.elapsed(), 1) / 1000.0;
    print(QStringLiteral("soak: %1 actions in %2 s, %3 actions/s, seed %4")
              .arg(outcome.actions)
              .arg(elapsed, 0, 'f', 1)
              .arg(outcome.actions / elapsed, 0, 'f', 1)
              .arg(seed));
    if (!outcome.failure.isEmpty()) {
        reportFailure(script, outcome, stepsOut, program);
        return 1;
    }
    print(QStringLiteral("soak: %1 actions, 0 failures").arg(outcome.actions));
    return 0;
}

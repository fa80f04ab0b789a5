#pragma once
// What the command-line runner is asked to do: its options and its steps in order, read from the
// command line or from a recipe file. Plain data and parsing, no camera.
//
//   lsxcalib-cli [-d CAMERA] [--sdk PATH] [--json FILE] [--yes] [--frame-timeout S]
//                [--operator NAME] [--db URL] [--lang zh|en] STEP...
//
// Options may stand anywhere; "--sim-scene dark|flat|pattern" belongs to the step after it. A
// word that reads as a number ("-100") is a value, never an option.

#include <QMap>
#include <QString>
#include <QStringList>

#include <vector>

struct CliStep {
    QString name;                    // "dark", "write-fpn", ...
    QStringList args;                // its positional arguments (SET, FILE, RECIPE)
    QMap<QString, QString> options;  // its options, without the leading "--"; flags hold ""
    QString scene;                   // the simulated camera's scene to set first: "", "dark", "flat", "pattern"
};

struct CliPlan {
    QString camera;        // -d
    QString sdk;           // --sdk
    QString json;          // --json
    bool yes = false;      // --yes: no questions to the operator
    bool verbose = false;  // --verbose: the program's debug log on standard error too
    bool help = false;     // --help
    QString language;      // --lang, "zh" or "en" as given; installed at start (language.h)
    // --frame-timeout: how long a procedure waits for a frame from a silent camera, in ms.
    int frameTimeoutMs = 30000;
    QString operatorName;  // --operator: who runs the station (default: the login name)
    QString db;            // --db: the records' database (default: Records/Url of FPN.ini)
    std::vector<CliStep> steps;
    // From a recipe: settings of FPN.ini written before the steps (key "Params/GainMin" ...).
    QMap<QString, QString> settings;
    QString error;  // a usage error, in the operator's words; empty when the plan stands
};

// The steps the runner knows, with their options and arguments, as --help lists them.
QString cliUsage();

// Reads a command line (without the program's name).
CliPlan parseCommandLine(const QStringList& arguments);

// Reads a recipe file into `plan`: its [camera] name (unless -d gave one), its settings ([params]
// into Params/..., [verify] into Verify/...) and its steps, one "step = ..." line each, read as a
// command line's steps are. Lines are kept in the file's order; ';' and '#' begin a comment.
// False, with plan.error set, when the file cannot be read or a line cannot be understood.
bool readRecipe(const QString& path, CliPlan& plan);

// A text split like a shell's words: blanks separate, double quotes keep blanks inside.
QStringList splitWords(const QString& text);

#pragma once
// The window's way to the parameter files: the file dialogs open in the document folder with a
// proposed name, a name whose ending was supplied is not overwritten without a question, and a
// file is read off the window's thread so that a large one does not freeze it.

#include <QString>

#include <functional>

class QWidget;

// The open dialog, in the document folder. Empty when the operator cancels.
QString chooseParameterFileToOpen(QWidget* parent, const QString& caption, const QString& filter);

// The save dialog, in the document folder with `proposedName` filled in. Empty when cancelled.
QString chooseParameterFileToSave(QWidget* parent, const QString& caption, const QString& proposedName,
                                  const QString& filter);

// The dialog asked about the name the operator typed; when the program made another name of it
// (an ending or a prefix supplied) and that file exists, the operator is asked before it is
// overwritten. True to go on.
bool confirmOverwrite(QWidget* parent, const QString& chosen, const QString& path);

// Runs `work` on a thread of its own and waits for it in a local event loop that leaves the
// operator's input for later: the window keeps painting and its timers run, and after a moment
// a busy dialog with `text` shows that the program reads.
void runOffGuiThread(QWidget* parent, const QString& text, const std::function<void()>& work);

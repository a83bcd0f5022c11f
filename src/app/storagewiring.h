#pragma once

class MainWindow;
class SqlManager;

// Joins the database front to the window and its model: the worker's three
// load results go to the window, and every write-behind signal of the model
// and the tabs is relayed through the front, so that all writes share one
// queue and one order. Called before the worker starts, so that no load
// result can be missed.
void connectStorage(SqlManager *storage, MainWindow *mainWindow);

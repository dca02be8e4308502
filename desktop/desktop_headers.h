#pragma once

// Precompiled for this folder alone: what nearly every file here includes.
#include <QAbstractTableModel>
#include <QAction>
#include <QApplication>
#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDialog>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QString>
#include <QTimer>
#include <QTreeView>
#include <QWidget>
#include <functional>
#include <memory>
#include <string>
#include <vector>

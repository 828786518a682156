#pragma once

#include <QWidget>

// The settings pane as one widget; the host window shows it.
class FendrelPane : public QWidget
{
    Q_OBJECT
public:
    explicit FendrelPane(QWidget* parent = nullptr);
};

#include "FendrelPane.h"

FendrelPane::FendrelPane(QWidget* parent) : QWidget(parent)
{
    setObjectName("pane");
}

#include "FendrelPane.h"

#include <QApplication>
#include <QMainWindow>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QMainWindow window;
    window.setWindowTitle("Fendrel");
    window.setCentralWidget(new FendrelPane);
    window.resize(670, 461);
    window.show();
    return app.exec();
}

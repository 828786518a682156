#include "FendrelHostWindow.h"
#include "KLBundle.h"
#include "KLRunLoop.h"
#include "QtImages.h"
#include "QtRunLoop.h"
#include "QtStrings.h"

#include <QApplication>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(toQt(applicationName()));
    QApplication::setApplicationVersion(toQt(applicationVersion()));
    QApplication::setDesktopFileName("fendrel");
    KLRunLoop::setMain(std::make_shared<QtRunLoop>(&app));
    QtImages::setUpTheme();

    int status = 0;
    {
        FendrelHostWindow window;
        window.show();
        status = QApplication::exec();
    }
    KLRunLoop::setMain(nullptr);
    return status;
}

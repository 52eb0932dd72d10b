#include "Command.h"

#include <QCoreApplication>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv); // has the arguments as text on every system
    std::vector<std::string> arguments;
    for (const QString& argument : QCoreApplication::arguments().mid(1))
        arguments.push_back(argument.toStdString());
    zmu_tools::ownProgram() = QCoreApplication::applicationFilePath().toStdString();
    return static_cast<int>(zmu_tools::runCommandLine(arguments));
}

#include "Processes.h"

#include <QProcess>
#include <QProcessEnvironment>

namespace zmu_test {

ProcessEnd runProgram(const QString& program, const QStringList& arguments,
                      const QMap<QString, QString>& variables)
{
    constexpr int limitMs = 60000;
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (auto variable = variables.begin(); variable != variables.end(); ++variable)
        environment.insert(variable.key(), variable.value());
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    ProcessEnd end;
    const bool isOver = process.waitForFinished(limitMs);
    if (!isOver) {
        end.errors = process.errorString().toUtf8() + '\n';
        process.kill();
        process.waitForFinished();
    }
    end.isNormal = isOver && process.exitStatus() == QProcess::NormalExit;
    end.status = end.isNormal ? process.exitCode() : -1;
    end.output = process.readAllStandardOutput();
    end.errors += process.readAllStandardError();
    return end;
}

testing::AssertionResult hasSucceeded(const ProcessEnd& end)
{
    if (end.isNormal && end.status == 0)
        return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << (end.isNormal ? "status " + std::to_string(end.status) : "no normal end") << '\n'
           << end.output.toStdString() << end.errors.toStdString();
}

} // namespace zmu_test

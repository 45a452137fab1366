// orvkit-cli: the kit's commands from a shell, one run = one fresh kit.
#include "OrvCliChain.h"
#include "OrvCliParser.h"
#include "OrvCliResult.h"
#include "OrvCliSession.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    OrvCliParser::Run run;
    const int parsed = OrvCliParser::parse(std::vector<std::string>(argv + 1, argv + argc), run, std::cout, std::cerr);
    if (parsed != OrvCliParser::kContinue) {
        return parsed;
    }
    if (run.settings.verbose) {
        QLoggingCategory::setFilterRules(QStringLiteral("orvkit.*=true"));
    }

    // The kit reads the save directory when it first touches its token file.
    if (!run.saveDir.empty()) {
        setenv("VX_SAVEFILE_DIR", run.saveDir.c_str(), 1);
    }
    QCoreApplication app(argc, argv);
    OrvCliSession session(run.preferences);
    if (!session.open(5000)) {
        std::cerr << "orvkit-cli: the kit did not open\n";
        return OrvCliResult::kExitInternal;
    }
    OrvCliChain chain(session, run.settings, run.keepGoing, std::cout, std::cerr);
    const int status = chain.run(run.commands);
    session.close(3000);
    return status;
}

#ifndef ORVKIT_TESTS_LOG_CAPTURE_H
#define ORVKIT_TESTS_LOG_CAPTURE_H

#include <QLoggingCategory>
#include <QString>
#include <QtGlobal>

#include <cstring>
#include <mutex>
#include <string>
#include <vector>

// Keeps every line that the orvkit.* categories log, from any thread, as
// "category: message", while it lives; other messages (Qt's own warnings,
// for one) are kept apart and go on to the handler installed before. With enableAll (the default) it switches every orvkit.*
// category on, as QT_LOGGING_RULES="orvkit.*=true" would; otherwise the
// categories keep their defaults. One capture at a time.
class LogCapture
{
public:
    explicit LogCapture(bool enableAll = true)
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        state().lines.clear();
        state().others.clear();
        state().previous = qInstallMessageHandler(&LogCapture::handle);
        QLoggingCategory::setFilterRules(enableAll ? QStringLiteral("orvkit.*=true") : QString());
    }

    ~LogCapture()
    {
        QLoggingCategory::setFilterRules(QString());
        qInstallMessageHandler(state().previous);
    }

    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> lines() const
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        return state().lines;
    }

    std::vector<std::string> otherLines() const
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        return state().others;
    }

    // The lines that hold every one of the texts.
    std::vector<std::string> linesWith(const std::vector<std::string>& texts) const
    {
        std::vector<std::string> found;
        for (const std::string& line : lines()) {
            bool all = true;
            for (const std::string& text : texts)
                all = all && line.find(text) != std::string::npos;
            if (all)
                found.push_back(line);
        }
        return found;
    }

    std::string joined() const
    {
        std::string all;
        for (const std::string& line : lines())
            all += line + "\n";
        return all;
    }

private:
    struct State
    {
        std::mutex mutex;
        std::vector<std::string> lines;
        std::vector<std::string> others;
        QtMessageHandler previous = nullptr;
    };

    static State& state()
    {
        static State shared;
        return shared;
    }

    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& message)
    {
        if (context.category != nullptr && std::strncmp(context.category, "orvkit.", 7) == 0) {
            std::lock_guard<std::mutex> lock(state().mutex);
            state().lines.push_back(std::string(context.category) + ": " + message.toStdString());
            return;
        }
        QtMessageHandler previous;
        {
            std::lock_guard<std::mutex> lock(state().mutex);
            state().others.push_back(message.toStdString());
            previous = state().previous;
        }
        if (previous != nullptr)
            previous(type, context, message);
    }
};

#endif

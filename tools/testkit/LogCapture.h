#ifndef ORVKIT_TESTS_LOG_CAPTURE_H
#define ORVKIT_TESTS_LOG_CAPTURE_H

#include <QLoggingCategory>
#include <QString>
#include <QtGlobal>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

// While it lives, keeps every line that the orvkit.* categories log, from any
// thread, as "category: message"; other messages (Qt's own warnings) are kept
// apart and go on to the previous handler. enableAll switches every orvkit.*
// category on, as QT_LOGGING_RULES="orvkit.*=true" would. One at a time.
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

    std::vector<std::string> lines() const { return copy(state().lines); }
    std::vector<std::string> otherLines() const { return copy(state().others); }

    // The lines that hold every one of the texts.
    std::vector<std::string> linesWith(const std::vector<std::string>& texts) const
    {
        std::vector<std::string> found;
        for (const std::string& line : lines()) {
            const auto holds = [&](const std::string& text) { return line.find(text) != std::string::npos; };
            if (std::all_of(texts.begin(), texts.end(), holds))
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

    static std::vector<std::string> copy(const std::vector<std::string>& kept)
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        return kept;
    }

    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& message)
    {
        const bool ours = context.category != nullptr && std::strncmp(context.category, "orvkit.", 7) == 0;
        QtMessageHandler previous;
        {
            std::lock_guard<std::mutex> lock(state().mutex);
            if (ours)
                state().lines.push_back(std::string(context.category) + ": " + message.toStdString());
            else
                state().others.push_back(message.toStdString());
            previous = ours ? nullptr : state().previous;
        }
        if (previous != nullptr)
            previous(type, context, message);
    }
};

#endif

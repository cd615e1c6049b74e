#include "tests/host/program.h"
#include "tests/support/temp_dir.h"

#include <QtCore/QFile>
#include <QtCore/QMap>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QStandardPaths>

#include <gmock/gmock.h>

using namespace VESK::Test;

namespace
{

QString outputOf(const QStringList &arguments)
{
    Program program(arguments);
    EXPECT_EQ(program.waitForEnd(), 0) << arguments.join(' ').toStdString() << program.err().toStdString();
    return program.out();
}

bool isInstalled(const QString &shell)
{
    return !QStandardPaths::findExecutable(shell).isEmpty();
}

class CompletionTest : public testing::Test
{
protected:
    // What `script` prints when the shell runs it in the test's directory.
    QString inShell(const QString &shell, const QStringList &options, const QString &script)
    {
        QProcess process;
        process.setWorkingDirectory(m_directory.path());
        process.start(shell, options + QStringList{"-c", script});
        EXPECT_TRUE(process.waitForFinished());
        EXPECT_EQ(process.readAllStandardError().toStdString(), "");
        EXPECT_EQ(process.exitCode(), 0);
        return QString::fromUtf8(process.readAllStandardOutput());
    }

    void save(const QString &shell)
    {
        ASSERT_TRUE(m_directory.write("script", outputOf({"completion", shell}).toUtf8()));
    }

    // What bash offers for the last of the words.
    QStringList bashOffers(const QStringList &words)
    {
        const QString script = "source ./script; COMP_WORDS=(" + words.join(' ') + "); COMP_CWORD="
            + QString::number(words.size() - 1) + "; _vesk; printf '%s\\n' \"${COMPREPLY[@]}\"";
        return inShell("bash", {"--norc"}, script).split('\n', Qt::SkipEmptyParts);
    }

    TempDir m_directory;
};

TEST_F(CompletionTest, OffersVerbsOptionsValuesAndFilesInBash)
{
    if (!isInstalled("bash"))
        GTEST_SKIP() << "no bash here";
    save("bash");
    ASSERT_TRUE(m_directory.write("film one.mkv", ""));
    EXPECT_EQ(bashOffers({"vesk", "pu"}), QStringList{"put"});
    EXPECT_EQ(bashOffers({"vesk", "put", "--recurs"}), QStringList{"--recursive"});
    EXPECT_EQ(bashOffers({"vesk", "put", "-r", "--verify", "''"}),
              (QStringList{"xxh128", "sha256", "quick", "none"}));
    EXPECT_EQ(bashOffers({"vesk", "put", "--verify", "=", "sh"}), QStringList{"sha256"});
    EXPECT_EQ(bashOffers({"vesk", "put", "fi"}), QStringList{"film one.mkv"});
    EXPECT_EQ(bashOffers({"vesk", "put", "x", "nas", ":", "f"}), QStringList());
    EXPECT_EQ(bashOffers({"vesk", "config", "''"}), (QStringList{"show", "check"}));
    EXPECT_EQ(bashOffers({"vesk", "config", "show", "--rem"}), QStringList{"--remote"});
    EXPECT_EQ(bashOffers({"vesk", "help", "pu"}), QStringList{"put"});
    EXPECT_EQ(bashOffers({"vesk", "completion", "z"}), QStringList{"zsh"});
    EXPECT_EQ(bashOffers({"vesk", "--config", "fi"}), QStringList{"film one.mkv"});
}

TEST_F(CompletionTest, OffersTheRemotesOfTheConfigurationWhereServersMayStand)
{
    if (!isInstalled("bash"))
        GTEST_SKIP() << "no bash here";
    save("bash");
    ASSERT_TRUE(m_directory.write("vesk.toml", "[remote.nas]\nhost = \"a\"\n[remote.far]\nhost = \"b\"\n"));
    ASSERT_TRUE(m_directory.write("film.mkv", ""));
    const QString program = QStringLiteral(VESK_PROGRAM);
    qputenv("VESK_CONFIG", m_directory.path("vesk.toml").toUtf8());
    EXPECT_EQ(bashOffers({program, "ls", "''"}), (QStringList{"far:", "nas:"}));
    EXPECT_EQ(bashOffers({program, "put", "film.mkv", "na"}), QStringList{"nas:"});
    EXPECT_EQ(bashOffers({program, "put", "f"}), (QStringList{"far:", "film.mkv"}));
    EXPECT_EQ(bashOffers({program, "get", "n"}), QStringList{"nas:"});
    EXPECT_EQ(bashOffers({program, "doctor", "f"}), QStringList{"far:"});
    EXPECT_EQ(bashOffers({program, "serve", "n"}), QStringList());
    ASSERT_TRUE(m_directory.write("vesk.toml", "[[[\n"));
    EXPECT_EQ(bashOffers({program, "ls", "''"}), QStringList());
    qunsetenv("VESK_CONFIG");
}

TEST_F(CompletionTest, OffersVerbsOptionsAndValuesInFish)
{
    if (!isInstalled("fish"))
        GTEST_SKIP() << "no fish here";
    save("fish");
    const auto offers = [this](const QString &line) {
        const QString out = inShell("fish", {"--no-config"}, "source ./script; complete -C'" + line + "'");
        QStringList words;
        for (const QString &offer : out.split('\n', Qt::SkipEmptyParts))
            words << offer.section('\t', 0, 0);
        return words;
    };
    EXPECT_EQ(offers("vesk pu"), QStringList{"put"});
    EXPECT_EQ(offers("vesk put --recurs"), QStringList{"--recursive"});
    EXPECT_EQ(offers("vesk put -r --verify s"), QStringList{"sha256"});
    EXPECT_EQ(offers("vesk config s"), QStringList{"show"});
}

TEST_F(CompletionTest, MakesItselfKnownToZsh)
{
    if (!isInstalled("zsh"))
        GTEST_SKIP() << "no zsh here";
    save("zsh");
    EXPECT_EQ(inShell("zsh", {"-f"},
                      "autoload -U compinit; compinit -u -D; source ./script; print $_comps[vesk]; "
                      "whence -w _vesk_put _vesk_config_show"),
              "_vesk\n_vesk_put: function\n_vesk_config_show: function\n");
}

// The long options of each command, as its full help explains them.
QMap<QString, QStringList> explainedOptions()
{
    static const QRegularExpression verbLine("^  ([a-z]+)  ", QRegularExpression::MultilineOption);
    static const QRegularExpression optionLine("^  (?:-., )?(--[a-z0-9-]+)",
                                               QRegularExpression::MultilineOption);
    QMap<QString, QStringList> explained;
    QStringList queue{QString()};
    while (!queue.isEmpty()) {
        const QString command = queue.takeFirst();
        const QString page =
            outputOf(QStringList{"help"} + command.split(' ', Qt::SkipEmptyParts) + QStringList{"--all"})
                .section("Usage: ", 1);
        for (auto options = optionLine.globalMatch(page); options.hasNext();)
            explained[command] << options.next().captured(1);
        for (auto verbs = verbLine.globalMatch(page.section("Verbs:", 1)); verbs.hasNext();)
            queue << (command + ' ' + verbs.next().captured(1)).trimmed();
    }
    return explained;
}

// The part of a text from a line to the end of its paragraph.
QString paragraphFrom(const QString &text, const QString &begin, const QString &end)
{
    return text.section(begin, 1).section(end, 0, 0);
}

TEST_F(CompletionTest, KnowsEveryOptionThatTheHelpExplains)
{
    const QMap<QString, QStringList> explained = explainedOptions();
    ASSERT_GE(explained.size(), 12);
    const QString bash = outputOf({"completion", "bash"}).section("if [[ $cur == -*", 1);
    const QString zsh = outputOf({"completion", "zsh"});
    const QString fish = outputOf({"completion", "fish"});
    for (auto command = explained.begin(); command != explained.end(); ++command) {
        const QString ofBash = paragraphFrom(bash, '"' + command.key() + "\") ", "\n");
        QString function = "_vesk_" + command.key();
        if (command.key().isEmpty())
            function = "_vesk";
        const QString ofZsh = paragraphFrom('\n' + zsh, '\n' + function.replace(' ', '_') + "() {", "\n}");
        for (const QString &option : command.value()) {
            const std::string where = (command.key() + ' ' + option).toStdString();
            EXPECT_TRUE(QString(' ' + ofBash + ' ').replace('"', ' ').contains(' ' + option + ' ')) << where;
            EXPECT_TRUE(ofZsh.contains(')' + option + '[') || ofZsh.contains(')' + option + "=[")
                        || ofZsh.contains('*' + option + '[') || ofZsh.contains('*' + option + "=["))
                << where;
            const QString ofFish = QRegularExpression::escape("__vesk_command \\'" + command.key() + "\\''")
                + "[^\n]* -l " + option.mid(2) + " ";
            EXPECT_TRUE(fish.contains(QRegularExpression(ofFish))) << where;
        }
    }
}

TEST_F(CompletionTest, HasEveryOptionThatTheHelpExplainsInTheManual)
{
    const QMap<QString, QStringList> explained = explainedOptions();
    const QString manual = outputOf({"completion", "--manual", "options"});
    const QString ofAll = manual.section("\n## Of every verb\n", 1);
    for (auto command = explained.begin(); command != explained.end(); ++command) {
        const QString section = paragraphFrom('\n' + manual, "\n## vesk " + command.key() + '\n', "\n## ");
        for (const QString &option : command.value()) {
            if (option == "--help" || option == "--help-all" || option == "--version")
                continue;
            EXPECT_TRUE(section.contains(option + '*') || ofAll.contains(option + '*'))
                << (command.key() + ' ' + option).toStdString();
        }
    }
}

} // namespace

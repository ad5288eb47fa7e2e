#include "modkit/Settings.h"

#include <QFile>
#include <QTemporaryDir>

#include "fakes/RecordedMessages.h"
#include <gmock/gmock.h>

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr int defaultValue = -77;

class SettingsTest : public testing::Test {
protected:
    /// Writes @p text into a new file. @return its path.
    QString writtenFile(const char *text)
    {
        QString path = _folder.filePath("settings.ini");
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
        return path;
    }

    /// What getInt gives for @p text.
    std::int32_t valueOf(const std::string &text)
    {
        Settings texts;
        texts.addMap({{"key", text}}, "test");
        return texts.getInt("key", defaultValue);
    }

    const QTemporaryDir _folder;
    RecordedMessages _messages;
    Settings _settings;
};

// Sets an environment variable until the end of the scope.
class ScopedVariable {
public:
    ScopedVariable(const char *name, const char *value)
        : _name(name)
    {
        qputenv(name, value);
    }
    ~ScopedVariable() { qunsetenv(_name); }
    ScopedVariable(const ScopedVariable &) = delete;
    ScopedVariable &operator=(const ScopedVariable &) = delete;

private:
    const char *_name;
};

} // namespace

TEST_F(SettingsTest, KeyThatNoLayerHasGivesTheDefault)
{
    EXPECT_EQ(_settings.getInt("key", 5), 5);
    _settings.addMap({{"other", "1"}}, "test");
    EXPECT_EQ(_settings.getInt("key", -6), -6);
    EXPECT_THAT(_messages.take(), IsEmpty());
}

TEST_F(SettingsTest, LayerThatWasAddedFirstWins)
{
    _settings.addMap({{"both", "1"}, {"first", "2"}}, "first");
    _settings.addMap({{"both", "3"}, {"second", "4"}}, "second");
    EXPECT_EQ(_settings.getInt("both", defaultValue), 1);
    EXPECT_EQ(_settings.getInt("first", defaultValue), 2);
    EXPECT_EQ(_settings.getInt("second", defaultValue), 4);
}

TEST_F(SettingsTest, ValueIsA32BitDecimalIntegerWithBlanksAround)
{
    EXPECT_EQ(valueOf("0"), 0);
    EXPECT_EQ(valueOf(" \t12 "), 12);
    EXPECT_EQ(valueOf("010"), 10);
    EXPECT_EQ(valueOf("+3"), 3);
    EXPECT_EQ(valueOf("2147483647"), 2147483647);
    EXPECT_EQ(valueOf("-2147483648"), -2147483647 - 1);
    EXPECT_THAT(_messages.take(), IsEmpty());
}

TEST_F(SettingsTest, AnyOtherTextGivesTheDefaultAndOneWarning)
{
    for (const char *text :
         {"", " ", "12x", "1 2", "0x10", "1.0", "1e3", "1,000", "2147483648", "-2147483649", "true"}) {
        EXPECT_EQ(valueOf(text), defaultValue) << text;
        EXPECT_EQ(_messages.take().size(), 1U) << text;
    }
}

TEST_F(SettingsTest, WarningIsOneLineThatNamesOriginKeyTextAndDefault)
{
    _settings.addMap({{"threads", "four\nfive"}}, "the command line");
    EXPECT_EQ(_settings.getInt("threads", 8), 8);
    EXPECT_THAT(_messages.take(),
                ElementsAre("warning: Settings from \"the command line\": key \"threads\" holds \"four\\nfive\", "
                            "which is not a 32-bit decimal integer; the default 8 is used instead"));
}

TEST_F(SettingsTest, WrongTextHidesTheKeyInLaterLayers)
{
    _settings.addMap({{"key", "one"}}, "first");
    _settings.addMap({{"key", "1"}}, "second");
    EXPECT_EQ(_settings.getInt("key", defaultValue), defaultValue);
}

TEST_F(SettingsTest, TextIsThatOfTheFirstLayerWithTheKeyWhateverItSays)
{
    EXPECT_EQ(_settings.text("key"), std::nullopt);
    _settings.addMap({{"other", "1"}}, "first");
    _settings.addMap({{"key", "many"}}, "second");
    _settings.addMap({{"key", "3"}}, "third");
    EXPECT_EQ(_settings.text("key"), "many");
    EXPECT_THAT(_messages.take(), IsEmpty());
}

TEST_F(SettingsTest, EnvironmentVariablesWithThePrefixAreKeys)
{
    const ScopedVariable threads("SETTINGSTEST_threads", "3");
    const ScopedVariable wrong("SETTINGSTEST_wrong", "three");
    const ScopedVariable foreign("SETTINGSTEXT_foreign", "4");
    _settings.addEnvironment("SETTINGSTEST_");
    EXPECT_EQ(_settings.getInt("threads", defaultValue), 3);
    EXPECT_EQ(_settings.getInt("SETTINGSTEST_threads", defaultValue), defaultValue);
    EXPECT_EQ(_settings.getInt("foreign", defaultValue), defaultValue);
    EXPECT_THAT(_messages.take(), IsEmpty());

    EXPECT_EQ(_settings.getInt("wrong", defaultValue), defaultValue);
    EXPECT_THAT(_messages.take(), ElementsAre(HasSubstr("\"environment variables SETTINGSTEST_*\": key \"wrong\"")));
}

TEST_F(SettingsTest, EnvironmentIsReadWhenItIsAdded)
{
    {
        const ScopedVariable early("SETTINGSTEST_early", "1");
        _settings.addEnvironment("SETTINGSTEST_");
    }
    const ScopedVariable late("SETTINGSTEST_late", "2");
    EXPECT_EQ(_settings.getInt("early", defaultValue), 1);
    EXPECT_EQ(_settings.getInt("late", defaultValue), defaultValue);
    _settings.addEnvironment("SETTINGSTEST_");
    EXPECT_EQ(_settings.getInt("late", defaultValue), 2);
}

TEST_F(SettingsTest, IniFileGivesKeysWithAndWithoutAGroup)
{
    const QString path = writtenFile("; a comment\nplain=1\n\n[group]\nkey = 2\ndeep\\key=3\n");
    EXPECT_EQ(_settings.addIniFile(path), std::nullopt);
    EXPECT_EQ(_settings.getInt("plain", defaultValue), 1);
    EXPECT_EQ(_settings.getInt("group/key", defaultValue), 2);
    EXPECT_EQ(_settings.getInt("group/deep/key", defaultValue), 3);
    EXPECT_EQ(_settings.getInt("key", defaultValue), defaultValue);
}

TEST_F(SettingsTest, ListInAnIniFileIsNoIntegerAndIsShownWhole)
{
    const QString path = writtenFile("list=1,2\n");
    ASSERT_EQ(_settings.addIniFile(path), std::nullopt);
    EXPECT_EQ(_settings.getInt("list", defaultValue), defaultValue);
    EXPECT_THAT(_messages.take(), ElementsAre(AllOf(HasSubstr(path.toStdString()), HasSubstr("\"1,2\""))));
}

TEST_F(SettingsTest, TextsOfAnIniFileAreUtf8)
{
    ASSERT_EQ(_settings.addIniFile(writtenFile("key=пять\n")), std::nullopt);
    EXPECT_EQ(_settings.getInt("key", defaultValue), defaultValue);
    EXPECT_THAT(_messages.take(), ElementsAre(HasSubstr("\"пять\"")));
}

TEST_F(SettingsTest, MissingIniFileIsAnErrorAndNotCreated)
{
    const QString path = _folder.filePath("missing.ini");
    const auto error = _settings.addIniFile(path);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(*error, "Settings file \"" + path.toStdString() + "\" does not exist");
    EXPECT_FALSE(QFile::exists(path));
}

TEST_F(SettingsTest, FolderInPlaceOfAnIniFileIsAnError)
{
    const auto error = _settings.addIniFile(_folder.path());
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(*error, "Settings file \"" + _folder.path().toStdString() + "\" is not a file");
}

TEST_F(SettingsTest, IniFileThatMayNotBeReadIsAnError)
{
    const QString path = writtenFile("key=1\n");
    ASSERT_TRUE(QFile::setPermissions(path, QFileDevice::WriteOwner));
    if (QFile file(path); file.open(QIODevice::ReadOnly))
        GTEST_SKIP() << "this user may read every file";
    const auto error = _settings.addIniFile(path);
    ASSERT_TRUE(error.has_value());
    EXPECT_THAT(*error, AllOf(HasSubstr('"' + path.toStdString() + "\" cannot be read"), Not(HasSubstr("\n"))));
}

TEST_F(SettingsTest, MalformedIniFileIsAnErrorAndGivesNoLayer)
{
    const QString path = writtenFile("good=1\nno key and value\n");
    const auto error = _settings.addIniFile(path);
    ASSERT_TRUE(error.has_value());
    EXPECT_THAT(*error, AllOf(StartsWith("Settings file \"" + path.toStdString() + "\" has a format error"),
                              Not(HasSubstr("\n"))));
    EXPECT_EQ(_settings.getInt("good", defaultValue), defaultValue);
}

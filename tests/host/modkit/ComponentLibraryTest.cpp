#include "modkit/ComponentLibrary.h"

#include <QDir>
#include <QFile>
#include <QLibrary>
#include <QTemporaryDir>

#include "CountingComponent.h"
#include <gmock/gmock.h>

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

QString componentPath(const char *name)
{
    return QStringLiteral(COMPONENTS_DIR "%1" COMPONENT_SUFFIX).arg(name);
}

ComponentLibrary loadedLibrary(const char *name)
{
    return std::get<ComponentLibrary>(ComponentLibrary::load(componentPath(name)));
}

std::string errorOfLoading(const QString &path)
{
    const auto loaded = ComponentLibrary::load(path);
    const std::string *const error = std::get_if<std::string>(&loaded);
    return error ? *error : "no error";
}

std::string errorOfCreating(const ComponentLibrary &library)
{
    const auto created = library.createObject();
    const std::string *const error = std::get_if<std::string>(&created);
    return error ? *error : "no error";
}

// One line that names the file.
auto isLineAbout(const QString &path)
{
    return AllOf(HasSubstr('"' + path.toStdString() + '"'), Not(HasSubstr("\n")));
}

void writeFile(const QString &path, const char *text)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(text);
}

int counted(const char *symbol)
{
    const auto count = reinterpret_cast<int (*)()>(QLibrary::resolve(componentPath("CountingComponent"), symbol));
    return count ? count() : -1;
}

int liveObjects()
{
    return counted("countingComponentLiveObjects");
}

int deletedObjects()
{
    return counted("countingComponentDeletedObjects");
}

} // namespace

TEST(ComponentLibrary, LoadedLibraryTellsItsNameAndAbsolutePath)
{
    const QString relativePath = QDir::current().relativeFilePath(componentPath("CountingComponent"));
    const auto loaded = ComponentLibrary::load(relativePath);
    const auto *const library = std::get_if<ComponentLibrary>(&loaded);
    ASSERT_NE(library, nullptr) << std::get<std::string>(loaded);
    EXPECT_EQ(library->name(), "test.CountingComponent");
    EXPECT_EQ(library->path().toStdString(), QDir::cleanPath(componentPath("CountingComponent")).toStdString());
}

TEST(ComponentLibrary, ObjectThatIsNotHandedOverIsDeletedByItsLibrary)
{
    const ComponentLibrary library = loadedLibrary("CountingComponent");
    const int deletedBefore = deletedObjects();
    {
        const auto created = library.createObject();
        ASSERT_EQ(std::get<ComponentLibrary::Object>(created)->check(), 1);
        EXPECT_EQ(liveObjects(), 1);
    }
    EXPECT_EQ(liveObjects(), 0);
    EXPECT_EQ(deletedObjects(), deletedBefore + 1);
}

TEST(ComponentLibrary, ObjectThatIsHandedOverIsDestroyedByTheLastRelease)
{
    const ComponentLibrary library = loadedLibrary("CountingComponent");
    const int deletedBefore = deletedObjects();
    auto created = library.createObject();
    ModkitPtr<IComponent> component(std::get<ComponentLibrary::Object>(created).release());
    EXPECT_EQ(component->check(), 1);
    EXPECT_EQ(liveObjects(), 1);
    component.reset();
    EXPECT_EQ(liveObjects(), 0);
    EXPECT_EQ(deletedObjects(), deletedBefore);
}

TEST(ComponentLibrary, EachCreationMakesAnObjectOfItsOwn)
{
    const ComponentLibrary library = loadedLibrary("CountingComponent");
    const auto first = library.createObject();
    const auto second = library.createObject();
    EXPECT_NE(std::get<ComponentLibrary::Object>(first), std::get<ComponentLibrary::Object>(second));
    EXPECT_EQ(liveObjects(), 2);
}

TEST(ComponentLibrary, ObjectOutlivesTheValueThatCreatedIt)
{
    auto library = std::make_unique<ComponentLibrary>(loadedLibrary("CountingComponent"));
    const auto created = library->createObject();
    library.reset();
    EXPECT_EQ(std::get<ComponentLibrary::Object>(created)->check(), 1);
}

TEST(ComponentLibrary, MissingFileIsAnError)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("missing" COMPONENT_SUFFIX);
    EXPECT_THAT(errorOfLoading(path), AllOf(isLineAbout(path), EndsWith("no such file")));
}

TEST(ComponentLibrary, SuffixIsNotGuessed)
{
    const QString path = componentPath("CountingComponent").chopped(int(sizeof(COMPONENT_SUFFIX)) - 1);
    EXPECT_THAT(errorOfLoading(path), AllOf(isLineAbout(path), EndsWith("no such file")));
}

TEST(ComponentLibrary, OtherLibraryIsNotTakenForAFileOfSimilarName)
{
    const QTemporaryDir folder;
    ASSERT_TRUE(QFile::copy(componentPath("CountingComponent"), folder.filePath("notes" COMPONENT_SUFFIX)));
    writeFile(folder.filePath("notes"), "not a library");
    EXPECT_THAT(errorOfLoading(folder.filePath("notes")),
                AllOf(isLineAbout(folder.filePath("notes")), HasSubstr("not a loadable library")));
}

TEST(ComponentLibrary, SystemFoldersAreNotSearched)
{
    const QString path = "libdl.so.2";
    EXPECT_THAT(errorOfLoading(path), AllOf(isLineAbout(QDir::current().filePath(path)), EndsWith("no such file")));
}

TEST(ComponentLibrary, FileThatIsNoLibraryIsAnErrorWithTheLoadersReason)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("text" COMPONENT_SUFFIX);
    writeFile(path, "not a library");
    EXPECT_THAT(errorOfLoading(path), AllOf(isLineAbout(path), HasSubstr("not a loadable library: "),
                                            Not(EndsWith("not a loadable library: "))));
}

TEST(ComponentLibrary, LibraryWithoutAnExportIsNoComponentAndTheErrorNamesTheExport)
{
    const QString path = componentPath("LacksDeleteObject");
    EXPECT_THAT(errorOfLoading(path),
                AllOf(isLineAbout(path), EndsWith("not a component: it does not export ModkitDeleteObject")));
}

TEST(ComponentLibrary, LibraryThatAnswersNoNameIsAnErrorThatNamesTheVersionKey)
{
    const QString path = componentPath("AnswersNoName");
    EXPECT_THAT(errorOfLoading(path), AllOf(isLineAbout(path), HasSubstr("no name for version key 3264")));
}

TEST(ComponentLibrary, CreationWithoutAnObjectIsAnError)
{
    const QString path = componentPath("CreatesNoObject");
    EXPECT_THAT(errorOfCreating(loadedLibrary("CreatesNoObject")),
                AllOf(isLineAbout(path), HasSubstr("created no object")));
}

TEST(ComponentLibrary, ExceptionsOfTheCreationAreErrors)
{
    const QString path = componentPath("ThrowsOnCreation");
    const ComponentLibrary library = loadedLibrary("ThrowsOnCreation");
    EXPECT_THAT(errorOfCreating(library), AllOf(isLineAbout(path), EndsWith("the tables are missing")));
    EXPECT_THAT(errorOfCreating(library), AllOf(isLineAbout(path), EndsWith("unknown exception")));
}

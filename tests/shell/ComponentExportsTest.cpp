#include "interfaces/ComponentExports.h"

#include <QLibrary>
#include <QProcess>

#include <algorithm>
#include <string>
#include <vector>

#include "fakes/FakeFormatManager.h"
#include "fakes/FakeFramework.h"
#include "fakes/FakeIndications.h"
#include "interfaces/InterfaceIdentifiers.h"
#include <gmock/gmock.h>
#if defined(_WIN32)
#include <windows.h>
#endif

namespace {

using testing::ElementsAre;

#if defined(_WIN32)

/// The names in the export table of the loaded library, which Windows keeps sorted.
std::vector<std::string> exportedNames()
{
    const auto *const image = reinterpret_cast<const unsigned char *>(LoadLibraryA(COMPONENT_FILE));
    const auto *const start = reinterpret_cast<const IMAGE_DOS_HEADER *>(image);
    const auto *const header = reinterpret_cast<const IMAGE_NT_HEADERS64 *>(image + start->e_lfanew);
    const IMAGE_DATA_DIRECTORY &place = header->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    const auto *const table = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY *>(image + place.VirtualAddress);
    EXPECT_EQ(table->NumberOfFunctions, table->NumberOfNames) << "none is exported by its number alone";
    const auto *const names = reinterpret_cast<const DWORD *>(image + table->AddressOfNames);
    std::vector<std::string> exported;
    for (DWORD index = 0; index < table->NumberOfNames; ++index)
        exported.emplace_back(reinterpret_cast<const char *>(image + names[index]));
    return exported;
}

#else

/// The names that the library defines for others, sorted.
std::vector<std::string> exportedNames()
{
    QProcess nm;
    nm.start(QStringLiteral(NM), {QStringLiteral("-D"), QStringLiteral("--defined-only"),
                                  QStringLiteral("--format=posix"), QStringLiteral(COMPONENT_FILE)});
    EXPECT_TRUE(nm.waitForFinished());
    EXPECT_EQ(nm.exitCode(), 0) << nm.readAllStandardError().toStdString();
    std::vector<std::string> exported;
    for (const QByteArray &line : nm.readAllStandardOutput().split('\n')) {
        if (!line.isEmpty())
            exported.push_back(line.left(line.indexOf(' ')).toStdString());
    }
    std::sort(exported.begin(), exported.end());
    return exported;
}

#endif

const std::int32_t wrongKeys[] = {0, 1, 3263, 3265, -3264};

class ComponentExportsTest : public testing::Test {
protected:
    ComponentExportsTest()
    {
        QLibrary library(QStringLiteral(COMPONENT_FILE));
        myName = reinterpret_cast<decltype(&ModkitMyName)>(library.resolve("ModkitMyName"));
        getObject = reinterpret_cast<decltype(&ModkitGetObject)>(library.resolve("ModkitGetObject"));
        deleteObject = reinterpret_cast<decltype(&ModkitDeleteObject)>(library.resolve("ModkitDeleteObject"));
    }

    void SetUp() override
    {
        ASSERT_NE(myName, nullptr);
        ASSERT_NE(getObject, nullptr);
        ASSERT_NE(deleteObject, nullptr);
    }

    decltype(&ModkitMyName) myName;
    decltype(&ModkitGetObject) getObject;
    decltype(&ModkitDeleteObject) deleteObject;
};

} // namespace

TEST_F(ComponentExportsTest, LibraryExportsTheThreeEntryPointsAndNothingElse)
{
    EXPECT_THAT(exportedNames(), ElementsAre("ModkitDeleteObject", "ModkitGetObject", "ModkitMyName"));
}

TEST_F(ComponentExportsTest, NameIsGivenForTheRightKeyOnly)
{
    const char *name = nullptr;
    std::int32_t value = 0;
    myName(&name, &value, 3264);
    EXPECT_STREQ(name, "base.avformat.DecodingManager");
    EXPECT_EQ(value, 1);
    for (const std::int32_t key : wrongKeys) {
        name = "before";
        value = 0;
        myName(&name, &value, key);
        EXPECT_EQ(name, nullptr);
        EXPECT_EQ(value, 1);
    }
}

TEST_F(ComponentExportsTest, ObjectIsGivenForTheRightKeyOnly)
{
    IComponent *first = nullptr;
    IComponent *second = nullptr;
    getObject(&first, 3264);
    getObject(&second, 3264);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second) << "each call makes an object of its own";
    EXPECT_EQ(first->check(), 1);
    for (const std::int32_t key : wrongKeys) {
        IComponent *object = first;
        getObject(&object, key);
        EXPECT_EQ(object, nullptr);
    }
    deleteObject(&first, 3264);
    deleteObject(&second, 3264);
}

TEST_F(ComponentExportsTest, DeleteRunsTheWholeDestructorAndLeavesThePointer)
{
    struct WatchedIndicationManager : FakeIndicationManager {
        explicit WatchedIndicationManager(bool &flag)
            : goneFlag(flag)
        {
        }
        ~WatchedIndicationManager() override { goneFlag = true; }
        bool &goneFlag;
    };
    bool gone = false;
    CallLog log;
    FakeObjectRegistry registry(log);
    registry.objects[InterfaceIdentifiers::avFormatManager] =
        ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(new FakeFormatManager));
    registry.objects[InterfaceIdentifiers::indicationManager] =
        ModkitPtr<IPolymorph>(ModkitPtr<IIndicationManager>(new WatchedIndicationManager(gone)));
    IComponent *object = nullptr;
    getObject(&object, 3264);
    ASSERT_TRUE(object->init(ModkitPtr<ISettings>(new FakeSettings(log)), registry, ModkitPtr<IComponent>()));
    object->stop();
    registry.objects.clear();
    ASSERT_FALSE(gone) << "the component holds it until its destruction";

    IComponent *const before = object;
    for (const std::int32_t key : wrongKeys) {
        deleteObject(&object, key);
        ASSERT_FALSE(gone);
    }
    deleteObject(&object, 3264);
    EXPECT_TRUE(gone);
    EXPECT_EQ(object, before);
}

TEST_F(ComponentExportsTest, DeleteOfANullObjectDoesNothing)
{
    IComponent *object = nullptr;
    deleteObject(&object, 3264);
    EXPECT_EQ(object, nullptr);
}

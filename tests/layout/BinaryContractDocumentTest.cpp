#include <QFile>

#include <string>
#include <vector>

#include "ContractLayouts.h"
#include <gmock/gmock.h>

// docs/binary-contract.md is made from the tables: to mend a failure, put the text that it shows in the place of the
// old one.

namespace {

std::string rows(const std::vector<ClassLayout::Place> &places, const std::string &heading)
{
    if (places.empty())
        return "";
    std::string text = "\n" + heading + "\n";
    for (const ClassLayout::Place &place : places) {
        text += "| " + std::to_string(place.stated) + " | `" + place.name + "` |";
        text += place.type.empty() ? "\n" : " `" + place.type + "` |\n";
    }
    return text;
}

/// The section on @p layout.
std::string section(const ClassLayout &layout)
{
    std::string text = "### " + layout.name + "\n\n" + std::to_string(layout.statedSize) + " bytes.";
    for (const ClassLayout::Place &base : layout.bases)
        text += " Base at " + std::to_string(base.stated) + ": `" + base.name + "`.";
    text += "\n";
    text += rows(layout.fields, "| offset | field | type |\n|---|---|---|");
    text += rows(layout.operations, "| slot | operation | signature |\n|---|---|---|");
    return text + "\n";
}

std::string chapter(const std::string &title, const std::vector<ClassLayout> &layouts)
{
    std::string text = "## " + title + "\n\n";
    for (const ClassLayout &layout : layouts)
        text += section(layout);
    return text;
}

/// The whole document, with the empty line that ends its last section.
std::string document()
{
    QFile file(QStringLiteral(BINARY_CONTRACT_FILE));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly | QIODevice::Text));
    return file.readAll().toStdString() + "\n";
}

} // namespace

TEST(BinaryContractDocument, HoldsTheTablesOfWhatCrossesTheBoundaryInTheirOrder)
{
    const std::string text = chapter("What crosses the boundary", contractLayouts());
    EXPECT_NE(document().find(text + "## "), std::string::npos) << "the document does not hold this:\n" << text;
}

TEST(BinaryContractDocument, EndsWithTheTablesOfTheComponentsOwnClasses)
{
    const std::string text = chapter("The component's own classes", componentLayouts());
    const std::string whole = document();
    const std::size_t place = whole.find(text);
    ASSERT_NE(place, std::string::npos) << "the document does not hold this:\n" << text;
    EXPECT_EQ(whole.substr(place + text.size()), "") << "what follows the chapter";
}

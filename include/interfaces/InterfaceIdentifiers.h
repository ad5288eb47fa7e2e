#ifndef INTERFACES_INTERFACEIDENTIFIERS_H
#define INTERFACES_INTERFACEIDENTIFIERS_H

/// Identifiers under which components are published in the object registry.
namespace InterfaceIdentifiers {

/// The format component; converts to IAVFormatManager. Required by the decoding manager.
constexpr char avFormatManager[] = "d98b9788-39fd-4057-87f2-e5d8108a8148";

/// The indication manager; converts to IIndicationManager. Optional: without it no indications are shown.
constexpr char indicationManager[] = "6bb3424c-ccb5-4437-bf8b-0282be89caa1";

/// The decoding manager, published under both while it is initialised. It is the same object under either, and
/// converts to IDecodingManager as well as to ITuneDecoding.
constexpr char decodingManager[] = "e0711c9b-7725-4e3c-bdbf-b716c3a34142";
constexpr char tuneDecoding[] = "252e7437-a55d-4499-9660-194d7d81b5d8";

} // namespace InterfaceIdentifiers

#endif

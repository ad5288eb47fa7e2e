#ifndef HOST_CLI_STANDARDDESCRIPTORS_H
#define HOST_CLI_STANDARDDESCRIPTORS_H

/// The descriptors 0, 1 and 2, which a program may be started without.
namespace StandardDescriptors {

/// Opens those that are closed on /dev/null: else the next files to be opened get them, and the report or a message
/// ends up in an output. To be called first of all.
void openClosedOnes();

} // namespace StandardDescriptors

#endif

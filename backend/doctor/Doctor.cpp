#include "doctor/Doctor.h"

#include "converter/Bubblewrap.h"
#include "data/DataFolder.h"
#include "database/DatabaseFiles.h"

#include <VXMesh/io/Text.h>

#include <fmt/format.h>

#include <algorithm>
#include <iostream>

namespace VX::Backend
{
namespace
{

const char* wordFor( Verdict verdict )
{
    switch ( verdict )
    {
    case Verdict::Ok:
        return "ok";
    case Verdict::Warn:
        return "warn";
    case Verdict::Fail:
        break;
    }
    return "fail";
}

void append( Findings& all, Findings more )
{
    std::move( more.begin(), more.end(), std::back_inserter( all ) );
}

/// What stands in the folder, which is there.
Findings examineFolder( const Patient& patient )
{
    Findings out{
        checkSecrets( patient ), checkSigningKeys( patient ), checkCertificate( patient ), checkNames( patient ) };
    append( out, checkDatabases( patient ) );
    append( out, checkWork( patient ) );
    return out;
}

} // namespace

Findings examine( Patient patient )
{
    patient.isRunning = FolderLock::isTaken( patient.data );
    patient.hasBubblewrap = canUseBubblewrap();
    Findings out{ checkFolder( patient ) };
    std::error_code ec;
    // Of another folder nobody wants to know more.
    if ( std::filesystem::exists( patient.data / cMainDatabase, ec ) )
        append( out, examineFolder( patient ) );
    append( out, { checkSandbox( patient ), checkWorker( patient ), checkDescriptors(), checkPort( patient ) } );
    return out;
}

int runDoctor( const Patient& patient )
{
    const auto findings = examine( patient );
    for ( const auto& one : findings )
        std::cout << fmt::format( "{:<5}{}: {}\n", wordFor( one.verdict ), one.about, visibleText( one.text ) );
    return std::any_of(
               findings.begin(), findings.end(), []( const Finding& one ) { return one.verdict == Verdict::Fail; } )
               ? 1
               : 0;
}

} // namespace VX::Backend

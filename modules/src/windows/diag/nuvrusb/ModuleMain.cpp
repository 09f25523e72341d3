#include "ModuleMain.h"

#include "Catalogue.h"
#include "SourceUnit.h"

#include "nuv.h"
#include "tkit5.h"

namespace nuvrusb {

int moduleMain(int argc, char ** argv) {
    TraceScope const trace(nuvrusbUnit, "main", 1605);
    try {
        tkit5::DiagModule::setCmdLineArgs(argc, argv);
        tkit5::DiagModule::setVersion(6, 5, "000000001");
        tkit5::DiagModule::setModuleInitCallback(moduleInit);
        return tkit5::DiagModule::start();
    } catch (nuv::Exception const & exception) {
        nuv::cerr << "Exception: " << exception.toString().getUTF8String().c_str() << nuv::endl;
    } catch (tkit5::TkitException const & exception) {
        nuv::cerr << "TkitException: " << exception.toString().getUTF8Buffer() << nuv::endl;
    }
    return tkit5::TestResult::EXITEDABNORMALLY().value();
}

} // namespace nuvrusb

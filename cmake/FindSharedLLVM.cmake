# FindSharedLLVM: LLVM 14 or later with its shared library, which is the target LLVM. Defines SharedLLVM_FOUND and
# LLVM_INCLUDE_DIRS. LLVM's version file takes one major version for all that fits; every one from 14 on does here.
find_package(LLVM CONFIG QUIET)
if(LLVM_FOUND AND TARGET LLVM AND LLVM_VERSION_MAJOR GREATER_EQUAL 14)
  set(SharedLLVM_LIBRARY LLVM)
else()
  unset(SharedLLVM_LIBRARY)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(SharedLLVM REQUIRED_VARS SharedLLVM_LIBRARY LLVM_INCLUDE_DIRS)

# Fails unless the shared library exports only names of the export list, and
# at least the names every build must have.
execute_process(COMMAND nm -D --defined-only ${LIB} OUTPUT_VARIABLE out RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIB}")
endif()
file(STRINGS ${EXPORTS} allowed REGEX "^vrn")
string(REPLACE "\n" ";" lines "${out}")
set(found "")
foreach(line IN LISTS lines)
  if(line MATCHES "^[0-9a-f]+ [TWDBRVi] (.+)$")
    set(name ${CMAKE_MATCH_1})
    list(FIND allowed ${name} idx)
    if(idx EQUAL -1)
      message(FATAL_ERROR "exported name outside the export list: ${name}")
    endif()
    list(APPEND found ${name})
  endif()
endforeach()
foreach(required vrnMalloc vrnwMalloc vrniMalloc vrnsMalloc vrndMalloc vrnFree
    vrnCreateImageHeader vrnAllocateImage vrnAllocateImageFP vrnDeallocateHeader
    vrnDeallocateImage vrnDeallocate vrnCloneImage vrnCheckImageHeader vrnCreateROI vrnSetROI
    vrnDeleteROI vrnCreateTileInfo vrnSetTileInfo vrnDeleteTileInfo vrnGetErrStatus
    vrnSetErrStatus vrnGetErrMode vrnSetErrMode vrnRedirectError vrnError vrnErrorStr
    vrnNulDevReport vrnStdErrReport vrnGuiBoxReport vrnGetLibVersion vrnGetKestrelCounter
    vrnSetBorderMode vrnAdd)
  list(FIND found ${required} idx)
  if(idx EQUAL -1)
    message(FATAL_ERROR "missing export: ${required}")
  endif()
endforeach()
list(LENGTH found n)
message(STATUS "${n} exported names, all in the export list")

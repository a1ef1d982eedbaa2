# A page's file to a header that holds it, with the policy that lets a browser run the page's own script and style and
# nothing else.

# A source of a content security policy that allows what stands between the two tags. CMake makes digests as hexadecimal
# digits, the policy has them in base 64: six digits are four of these.
function(pellsub_policy_source page open close result)
  string(FIND "${page}" "${open}" begin)
  string(FIND "${page}" "${close}" end REVERSE)
  string(LENGTH "${open}" length)
  math(EXPR begin "${begin} + ${length}")
  math(EXPR length "${end} - ${begin}")
  string(SUBSTRING "${page}" ${begin} ${length} inside)
  string(SHA256 digest "${inside}")
  set(alphabet ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  set(base64 "")
  foreach(at RANGE 0 60 6)
    string(SUBSTRING "${digest}00" ${at} 6 digits)
    foreach(shift 18 12 6 0)
      math(EXPR index "(0x${digits} >> ${shift}) & 63")
      string(SUBSTRING ${alphabet} ${index} 1 digit)
      string(APPEND base64 ${digit})
    endforeach()
  endforeach()
  # 32 bytes are 43 digits and a pad.
  string(SUBSTRING ${base64} 0 43 base64)
  set(${result} "'sha256-${base64}='" PARENT_SCOPE)
endfunction()

function(pellsub_embed_page html template header)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${html})
  file(READ ${html} TIMELINE_PAGE)
  pellsub_policy_source("${TIMELINE_PAGE}" "<script>" "</script>" script)
  pellsub_policy_source("${TIMELINE_PAGE}" "<style>" "</style>" style)
  string(REPLACE "@SCRIPT_SOURCE@" "${script}" TIMELINE_PAGE "${TIMELINE_PAGE}")
  string(REPLACE "@STYLE_SOURCE@" "${style}" TIMELINE_PAGE "${TIMELINE_PAGE}")
  configure_file(${template} ${header} @ONLY)
endfunction()

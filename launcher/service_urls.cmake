# Whether a service URL sends what it carries in clear across a network.

# Sets `result` TRUE if `url` is plain HTTP (or has no scheme, which libcurl reads as HTTP) to a
# host other than this machine's loopback interface: 127.x.x.x, localhost or [::1].
function(zandor_url_in_clear url result)
  string(TOLOWER "${url}" lowered)
  if(lowered MATCHES "^http://(.*)$")
    set(rest "${CMAKE_MATCH_1}")
  elseif(NOT lowered MATCHES "^[a-z][a-z0-9+.-]*://")
    set(rest "${lowered}")
  else()
    set(${result} FALSE PARENT_SCOPE)
    return()
  endif()
  string(REGEX REPLACE "[/?#].*$" "" authority "${rest}")
  string(REGEX REPLACE "^.*@" "" authority "${authority}")
  if(authority MATCHES "^(\\[[^]]*\\])(:[0-9]*)?$")
    set(host "${CMAKE_MATCH_1}")
  else()
    string(REGEX REPLACE ":.*$" "" host "${authority}")
  endif()
  if(host STREQUAL "localhost" OR host STREQUAL "[::1]" OR host MATCHES "^127\\.[0-9]+\\.[0-9]+\\.[0-9]+$")
    set(${result} FALSE PARENT_SCOPE)
  else()
    set(${result} TRUE PARENT_SCOPE)
  endif()
endfunction()

# Warns at configure time when the URL in `variable` is in clear; `carried` says what would cross
# the network so.
function(zandor_warn_if_in_clear variable carried)
  zandor_url_in_clear("${${variable}}" clear)
  if(clear)
    message(WARNING "${variable} is \"${${variable}}\": plain HTTP to a host other than this machine's "
                    "loopback interface, so ${carried} would cross the network in clear. Use an https:// URL.")
  endif()
endfunction()

// What is used to find the user's directories.
#pragma once

enum sysdir_search_path_directory_t {
    SYSDIR_DIRECTORY_DOCUMENT = 9,
    SYSDIR_DIRECTORY_APPLICATION_SUPPORT = 14,
};
enum sysdir_search_path_domain_mask_t { SYSDIR_DOMAIN_MASK_USER = 1 };
using sysdir_search_path_enumeration_state = unsigned;

extern "C" sysdir_search_path_enumeration_state sysdir_start_search_path_enumeration(
    sysdir_search_path_directory_t, sysdir_search_path_domain_mask_t);
extern "C" sysdir_search_path_enumeration_state sysdir_get_next_search_path_enumeration(
    sysdir_search_path_enumeration_state, char*);

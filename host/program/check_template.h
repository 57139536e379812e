// What a template asks for and a data set does not have.
#ifndef VELMORA_PROGRAM_CHECK_TEMPLATE_H
#define VELMORA_PROGRAM_CHECK_TEMPLATE_H

#include "host/program/findings.h"
#include "tree/Velmora_DICOM.h"

// Compares a tree, in the form in which it is loaded, with a template, in the words of DICOM_Postproc_Verification and
// in all items that are there. take gets each finding, and user. Reports are taken for that time.
void verify_by_template(DICOM_List *tree, const DICOM_List *tmplt, void (*take)(void *user, const Finding &finding),
                        void *user);

#endif

#pragma once

class NSData;

/// Whether a program that reads these bytes as a vault without its key, and writes it again, carries over all that
/// stands in them. Not so for bytes between, behind and within records that no section accounts for, for records that
/// are cut, and for record blocks of another format than the present one: their bodies go out under the present
/// format's number, under which nobody can decipher them. A count of all ones, which nobody writes, counts as damage
/// too.
///
/// The sections' frames alone are looked at, a few bytes of each record. What the reader refuses as a whole may be
/// either: it is never replaced.
bool isCarriedWhole(const NSData& vault);

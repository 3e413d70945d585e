#pragma once

#include "mime/mail/address.h"
#include "mime/mail/date.h"
#include "mime/mail/mail.h"
#include "mime/mail/mail_folder.h"
#include "mime/mail/result.h"
#include "mime/mail/text_charset.h"
#include "mime/writing/composer.h"
#include "mime/writing/edit.h"

/// Mail: what most programs include.
///
/// Reading:
///
///   auto mail = MIME::Mail::Open("x.eml");
///   if (!mail) return Fail(mail.error().GetText());   // "x.eml: No such file or folder"
///   std::cout << mail->GetSubject() << '\n' << mail->GetFrom() << '\n' << mail->GetText() << '\n';
///   for (const MIME::Entity& file : mail->GetAttachments()) file.SaveInto(folder);
///
/// Writing a new mail, or changing one that was read (classes Composer and Edit):
///
///   MIME::Composer answer;
///   answer.From("Zoë Lund", "zoe@example.org").Answer(*mail).Text("Danke!\n");
///   if (auto saved = answer.Save("out.eml"); !saved) return Fail(saved.error().GetText());
///
/// Only std::bad_alloc is thrown, where there is not enough memory for a whole result.

<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>About</name>
    <message>
        <source>About Orvane</source>
        <translation>Über Orvane</translation>
    </message>
    <message>
        <source>Keeps Safari’s bookmarks in order.</source>
        <translation>Hält Safaris Lesezeichen in Ordnung.</translation>
    </message>
    <message>
        <source>© Marrowfen</source>
        <translation>© Marrowfen</translation>
    </message>
    <message>
        <source>Orvane icon</source>
        <translation>Orvane-Symbol</translation>
    </message>
</context>
<context>
    <name>Engine</name>
    <message>
        <source>The sorted bookmark plist file was successfully written to disk.</source>
        <translation>Die sortierte Lesezeichen-Plist-Datei wurde erfolgreich gespeichert.</translation>
    </message>
    <message>
        <source>The program ran into an unknown error: %d.

A restart of your computer will hopefully solve the error.</source>
        <translation>Im Programm ist ein unbekannter Fehler aufgetreten: %d.

Ein Neustart des Computers behebt den Fehler hoffentlich.</translation>
    </message>
    <message>
        <source>Could not find the bookmark plist file.</source>
        <translation>Die Lesezeichen-Plist-Datei wurde nicht gefunden.</translation>
    </message>
    <message>
        <source>Could not find the output bookmark plist file.</source>
        <translation>Die zu ersetzende Lesezeichen-Plist-Datei wurde nicht gefunden.</translation>
    </message>
    <message>
        <source>Given file is not a bookmarks plist file.</source>
        <translation>Die angegebene Datei ist keine Lesezeichen-Plist-Datei.</translation>
    </message>
    <message>
        <source>Given file is a bookmarks plist file, but has unknown version.</source>
        <translation>Die angegebene Datei ist eine Lesezeichen-Plist-Datei, hat aber eine unbekannte Version.</translation>
    </message>
    <message>
        <source>Could not read the bookmark plist file.</source>
        <translation>Die Lesezeichen-Plist-Datei konnte nicht gelesen werden.</translation>
    </message>
    <message>
        <source>Could not write the bookmark plist file.</source>
        <translation>Die Lesezeichen-Plist-Datei konnte nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>Could not write the backup file for the bookmark plist file.</source>
        <translation>Die Sicherungskopie der Lesezeichen-Plist-Datei konnte nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>Could not write the bookmark plist file, some other process is using it.</source>
        <translation>Die Lesezeichen-Plist-Datei konnte nicht geschrieben werden, weil ein anderer Prozess sie verwendet.</translation>
    </message>
    <message>
        <source>The bookmarks file was opened, sorted and saved.</source>
        <translation>Die Lesezeichendatei wurde geöffnet, sortiert und gespeichert.</translation>
    </message>
    <message>
        <source>The bookmarks file “%@” could not be located. Please locate the file and try again.</source>
        <translation>Die Lesezeichendatei „%@“ wurde nicht gefunden. Bitte suchen Sie die Datei und versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>The file “%@” is not a bookmarks file. Please locate and select Safari’s bookmarks file.</source>
        <translation>Die Datei „%@“ ist keine Lesezeichendatei. Bitte suchen und wählen Sie Safaris Lesezeichendatei.</translation>
    </message>
    <message>
        <source>The file “%@” is a bookmarks file, but the version is too advanced.</source>
        <translation>Die Datei „%@“ ist eine Lesezeichendatei, aber ihre Version ist zu neu.</translation>
    </message>
    <message>
        <source>The bookmarks file “%@” could not be read. Please verify that you have read and write access to the file.</source>
        <translation>Die Lesezeichendatei „%@“ konnte nicht gelesen werden. Bitte prüfen Sie, ob Sie Lese- und Schreibrechte für die Datei haben.</translation>
    </message>
    <message>
        <source>The bookmarks file “%@” could not be saved. Please verify that you have read and write access to the file.</source>
        <translation>Die Lesezeichendatei „%@“ konnte nicht gespeichert werden. Bitte prüfen Sie, ob Sie Lese- und Schreibrechte für die Datei haben.</translation>
    </message>
    <message>
        <source>A backup for the bookmarks file “%@” could not be created. Please verify that you have read and write access to the file’s directory.</source>
        <translation>Für die Lesezeichendatei „%@“ konnte keine Sicherungskopie angelegt werden. Bitte prüfen Sie, ob Sie Lese- und Schreibrechte für den Ordner der Datei haben.</translation>
    </message>
    <message>
        <source>Safari is currently using the bookmarks file, please wait a while before sorting.</source>
        <translation>Safari verwendet die Lesezeichendatei gerade. Bitte warten Sie einen Moment, bevor Sie sortieren.</translation>
    </message>
    <message>
        <source>No Name</source>
        <translation>Ohne Namen</translation>
    </message>
    <message>
        <source>%@ is currently using the bookmarks file, please quit it before sorting.</source>
        <translation>%@ verwendet gerade die Lesezeichendatei, bitte beenden Sie das Programm vor dem Sortieren.</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Orvane</source>
        <translation>Orvane</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Hilfe</translation>
    </message>
    <message>
        <source>&amp;Sort Bookmarks</source>
        <translation>Lesezeichen &amp;sortieren</translation>
    </message>
    <message>
        <source>&amp;Restore Initial Backup…</source>
        <translation>Erste Sicherungskopie &amp;wiederherstellen…</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>Ctrl+Q</source>
        <translation>Ctrl+Q</translation>
    </message>
    <message>
        <source>Orvane &amp;Web Site</source>
        <translation>Orvane-&amp;Website</translation>
    </message>
    <message>
        <source>&amp;About Orvane</source>
        <translation>Ü&amp;ber Orvane</translation>
    </message>
    <message>
        <source>&amp;Bookmarks of:</source>
        <translation>Lesezeichen &amp;von:</translation>
    </message>
    <message>
        <source>&amp;Arrange folders at top</source>
        <translation>&amp;Ordner zuoberst anordnen</translation>
    </message>
    <message>
        <source>Remove &amp;duplicate bookmarks</source>
        <translation>Doppelte Lesezeichen &amp;entfernen</translation>
    </message>
    <message>
        <source>&amp;Rename bookmarks with the same name</source>
        <translation>Gleichnamige Lesezeichen &amp;umbenennen</translation>
    </message>
    <message>
        <source>Sort the Bookmarks Bar &amp;too</source>
        <translation>Auch die Lesezeichen&amp;leiste sortieren</translation>
    </message>
    <message>
        <source>Sort a&amp;utomatically when the bookmarks change</source>
        <translation>&amp;Automatisch sortieren, wenn sich die Lesezeichen ändern</translation>
    </message>
</context>
<context>
    <name>orvane</name>
    <message>
        <source>Sorts Safari’s bookmarks. Settings: %1</source>
        <translation>Sortiert Safaris Lesezeichen. Einstellungen: %1</translation>
    </message>
    <message>
        <source>Exit status: 0 when Orvane quits, 1 when the command line holds an option it does not know.</source>
        <translation>Exit-Status: 0, wenn Orvane endet, 1, wenn die Befehlszeile eine Option enthält, die Orvane nicht kennt.</translation>
    </message>
</context>
<context>
    <name>orvane::AppDelegate</name>
    <message>
        <source>Sort Bookmarks</source>
        <translation>Lesezeichen sortieren</translation>
    </message>
    <message>
        <source>Begin Sorting Bookmarks</source>
        <translation>Automatisches Sortieren beginnen</translation>
    </message>
    <message>
        <source>Cannot automatically sort your bookmarks</source>
        <translation>Ihre Lesezeichen können nicht automatisch sortiert werden</translation>
    </message>
    <message>
        <source>Something seems to be fataly wrong with the program‘s main file.

Please reinstall the application to remidy this problem.</source>
        <translation>Mit der Hauptdatei des Programms scheint etwas grundlegend nicht zu stimmen.

Bitte installieren Sie das Programm neu, um das Problem zu beheben.</translation>
    </message>
    <message>
        <source>The operating system says: %@

If this problem remains after restarting your computer, then please reinstall the application.</source>
        <translation>Das Betriebssystem meldet: %@

Falls das Problem nach einem Neustart des Computers bleibt, installieren Sie das Programm bitte neu.</translation>
    </message>
    <message>
        <source>Automatic sorting error</source>
        <translation>Fehler beim automatischen Sortieren</translation>
    </message>
    <message>
        <source>Cannot add %@ to your login items. The automatic bookmark sorting will therefor unfortunately not be enabled by itself the next time you log in to OS X.</source>
        <translation>%@ kann nicht zu Ihren Anmeldeobjekten hinzugefügt werden. Das automatische Sortieren der Lesezeichen wird deshalb leider nicht von selbst aktiviert, wenn Sie sich das nächste Mal bei OS X anmelden.</translation>
    </message>
    <message>
        <source>Could not begin watching the bookmarks file for modification events.

This problem is very rare. A restart of your computer will probably solve the error.</source>
        <translation>Die Lesezeichendatei konnte nicht auf Änderungen überwacht werden.

Dieses Problem ist sehr selten. Ein Neustart des Computers behebt den Fehler wahrscheinlich.</translation>
    </message>
    <message>
        <source>Please update Safari</source>
        <translation>Bitte aktualisieren Sie Safari</translation>
    </message>
    <message>
        <source>You are about to restore the initial backup of your bookmarks</source>
        <translation>Sie sind dabei, die erste Sicherungskopie Ihrer Lesezeichen wiederherzustellen</translation>
    </message>
    <message>
        <source>This action will restore Safari’s bookmarks as they were before running this program for the first time.

Please note that this action will also remove and/or restore any bookmarks that you may have added or removed since initially running this program.

Would you like to restore your initial backup?</source>
        <translation>Dieser Vorgang stellt Safaris Lesezeichen so wieder her, wie sie vor dem ersten Start dieses Programms waren.

Bitte beachten Sie, dass dabei auch alle Lesezeichen entfernt oder wiederhergestellt werden, die Sie seit dem ersten Start dieses Programms hinzugefügt oder entfernt haben.

Möchten Sie Ihre erste Sicherungskopie wiederherstellen?</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Restoring the initial backup of your bookmarks.</source>
        <translation>Wiederherstellen der ersten Sicherungskopie Ihrer Lesezeichen.</translation>
    </message>
    <message>
        <source>The initial backup of your bookmarks have now been restored.</source>
        <translation>Die erste Sicherungskopie Ihrer Lesezeichen wurde wiederhergestellt.</translation>
    </message>
    <message>
        <source>Unfortionately the initial backup of your bookmarks could not be restored. Please verify that you have read and write privilages for the file “%@.”</source>
        <translation>Die erste Sicherungskopie Ihrer Lesezeichen konnte leider nicht wiederhergestellt werden. Bitte prüfen Sie, ob Sie Lese- und Schreibrechte für die Datei „%@“ haben.</translation>
    </message>
    <message>
        <source>Cannot locate the bookmarks file</source>
        <translation>Die Lesezeichendatei wurde nicht gefunden</translation>
    </message>
    <message>
        <source>The bookmarks file is not located in its usual place.

Please locate and select Safari’s bookmarks file in the next dialog (it’s usually named: Bookmarks.plist.)</source>
        <translation>Die Lesezeichendatei befindet sich nicht an ihrem üblichen Ort.

Bitte suchen und wählen Sie im nächsten Dialog Safaris Lesezeichendatei (sie heißt meist: Bookmarks.plist.)</translation>
    </message>
    <message>
        <source>Property lists (*.plist)</source>
        <translation>Property-Listen (*.plist)</translation>
    </message>
    <message>
        <source>The bookmarks could not be sorted</source>
        <translation>Die Lesezeichen konnten nicht sortiert werden</translation>
    </message>
    <message>
        <source>The bookmarks are now sorted</source>
        <translation>Die Lesezeichen sind jetzt sortiert</translation>
    </message>
    <message>
        <source>The bookmarks file “%@” has no Bookmarks Bar or no Bookmarks Menu, so it was left as it was.</source>
        <translation>Die Lesezeichendatei „%@“ hat keine Lesezeichenleiste oder kein Lesezeichenmenü und wurde deshalb nicht verändert.</translation>
    </message>
    <message>
        <source>The currently installed version of Safari is quite old. Apple has released newer and much more stable versions since then.

Please update Safari by choosing “Software Update...” from the “Apple” () menu (it is a free update and it will make your browsing experience better.)

Thank you!</source>
        <translation>Die installierte Version von Safari ist ziemlich alt. Apple hat seitdem neuere und viel stabilere Versionen veröffentlicht.

Bitte aktualisieren Sie Safari, indem Sie „Softwareaktualisierung...“ im Menü „Apple“ () wählen (die Aktualisierung ist kostenlos und macht Ihr Surfen angenehmer.)

Vielen Dank!</translation>
    </message>
    <message>
        <source>Bookmarks files (*.plist Bookmarks places.sqlite)</source>
        <translation>Lesezeichendateien (*.plist Bookmarks places.sqlite)</translation>
    </message>
    <message>
        <source>All files (*)</source>
        <translation>Alle Dateien (*)</translation>
    </message>
    <message>
        <source>The bookmarks file is not located in its usual place.

Please locate and select %@’s bookmarks file in the next dialog (it’s usually named: %@.)</source>
        <translation>Die Lesezeichendatei befindet sich nicht an ihrem üblichen Ort.

Bitte suchen und wählen Sie im nächsten Dialog die Lesezeichendatei von %@ (sie heißt meist: %@.)</translation>
    </message>
    <message>
        <source>This action will restore %1’s bookmarks as they were before running this program for the first time.

Please note that this action will also remove and/or restore any bookmarks that you may have added or removed since initially running this program.

Would you like to restore your initial backup?</source>
        <translation>Dieser Vorgang stellt die Lesezeichen von %1 so wieder her, wie sie vor dem ersten Start dieses Programms waren.

Bitte beachten Sie, dass dabei auch alle Lesezeichen entfernt oder wiederhergestellt werden, die Sie seit dem ersten Start dieses Programms hinzugefügt oder entfernt haben.

Möchten Sie Ihre erste Sicherungskopie wiederherstellen?</translation>
    </message>
    <message>
        <source>%1 syncs these bookmarks with your account: sync would undo a sort made outside it and bring removed bookmarks back, so the bookmarks file “%2” was left as it was.</source>
        <translation>%1 synchronisiert diese Lesezeichen mit Ihrem Konto: Die Synchronisierung würde eine außerhalb des Browsers vorgenommene Sortierung rückgängig machen und entfernte Lesezeichen zurückbringen, deshalb wurde die Lesezeichendatei „%2“ nicht verändert.</translation>
    </message>
    <message>
        <source>The file “%1” is not a bookmarks file. Please locate and select %2’s bookmarks file.</source>
        <translation>Die Datei „%1“ ist keine Lesezeichendatei. Bitte suchen und wählen Sie die Lesezeichendatei von %2.</translation>
    </message>
    <message>
        <source>The file “%1” was written in its new order.</source>
        <translation>Die Datei „%1“ wurde in ihrer neuen Ordnung gespeichert.</translation>
    </message>
    <message>
        <source>Nothing changed: the bookmarks were already in order, so the file “%1” was not written.</source>
        <translation>Nichts hat sich geändert: Die Lesezeichen waren schon geordnet, deshalb wurde die Datei „%1“ nicht geschrieben.</translation>
    </message>
    <message>
        <source>Working…</source>
        <translation>In Arbeit…</translation>
    </message>
</context>
<context>
    <name>orvane::BookmarksChooser</name>
    <message>
        <source>Bookmarks of</source>
        <translation>Lesezeichen von</translation>
    </message>
    <message>
        <source>No file chosen</source>
        <translation>Keine Datei gewählt</translation>
    </message>
    <message>
        <source>Other file…</source>
        <translation>Andere Datei…</translation>
    </message>
</context>
</TS>

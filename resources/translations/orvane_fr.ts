<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>About</name>
    <message>
        <source>About Orvane</source>
        <translation>À propos d’Orvane</translation>
    </message>
    <message>
        <source>Keeps Safari’s bookmarks in order.</source>
        <translation>Garde les signets de Safari en ordre.</translation>
    </message>
    <message>
        <source>© Marrowfen</source>
        <translation>© Marrowfen</translation>
    </message>
    <message>
        <source>Orvane icon</source>
        <translation>Icône d’Orvane</translation>
    </message>
</context>
<context>
    <name>Engine</name>
    <message>
        <source>The sorted bookmark plist file was successfully written to disk.</source>
        <translation>Le fichier plist de signets trié a bien été enregistré.</translation>
    </message>
    <message>
        <source>The program ran into an unknown error: %d.

A restart of your computer will hopefully solve the error.</source>
        <translation>Le programme a rencontré une erreur inconnue&#xa0;: %d.

Un redémarrage de votre ordinateur devrait résoudre le problème.</translation>
    </message>
    <message>
        <source>Could not find the bookmark plist file.</source>
        <translation>Impossible de trouver le fichier plist de signets.</translation>
    </message>
    <message>
        <source>Could not find the output bookmark plist file.</source>
        <translation>Impossible de trouver le fichier plist de signets à remplacer.</translation>
    </message>
    <message>
        <source>Given file is not a bookmarks plist file.</source>
        <translation>Le fichier indiqué n’est pas un fichier plist de signets.</translation>
    </message>
    <message>
        <source>Given file is a bookmarks plist file, but has unknown version.</source>
        <translation>Le fichier indiqué est un fichier plist de signets, mais sa version est inconnue.</translation>
    </message>
    <message>
        <source>Could not read the bookmark plist file.</source>
        <translation>Impossible de lire le fichier plist de signets.</translation>
    </message>
    <message>
        <source>Could not write the bookmark plist file.</source>
        <translation>Impossible d’écrire le fichier plist de signets.</translation>
    </message>
    <message>
        <source>Could not write the backup file for the bookmark plist file.</source>
        <translation>Impossible d’écrire la copie de sauvegarde du fichier plist de signets.</translation>
    </message>
    <message>
        <source>Could not write the bookmark plist file, some other process is using it.</source>
        <translation>Impossible d’écrire le fichier plist de signets&#xa0;: un autre processus l’utilise.</translation>
    </message>
    <message>
        <source>The bookmarks file was opened, sorted and saved.</source>
        <translation>Le fichier de signets a été ouvert, trié et enregistré.</translation>
    </message>
    <message>
        <source>The bookmarks file “%@” could not be located. Please locate the file and try again.</source>
        <translation>Le fichier de signets «&#xa0;%@&#xa0;» est introuvable. Veuillez localiser le fichier et réessayer.</translation>
    </message>
    <message>
        <source>The file “%@” is not a bookmarks file. Please locate and select Safari’s bookmarks file.</source>
        <translation>Le fichier «&#xa0;%@&#xa0;» n’est pas un fichier de signets. Veuillez localiser et sélectionner le fichier de signets de Safari.</translation>
    </message>
    <message>
        <source>The file “%@” is a bookmarks file, but the version is too advanced.</source>
        <translation>Le fichier «&#xa0;%@&#xa0;» est un fichier de signets, mais sa version est trop récente.</translation>
    </message>
    <message>
        <source>The bookmarks file “%@” could not be read. Please verify that you have read and write access to the file.</source>
        <translation>Le fichier de signets «&#xa0;%@&#xa0;» n’a pas pu être lu. Veuillez vérifier que vous avez les droits de lecture et d’écriture sur ce fichier.</translation>
    </message>
    <message>
        <source>The bookmarks file “%@” could not be saved. Please verify that you have read and write access to the file.</source>
        <translation>Le fichier de signets «&#xa0;%@&#xa0;» n’a pas pu être enregistré. Veuillez vérifier que vous avez les droits de lecture et d’écriture sur ce fichier.</translation>
    </message>
    <message>
        <source>A backup for the bookmarks file “%@” could not be created. Please verify that you have read and write access to the file’s directory.</source>
        <translation>Impossible de créer une copie de sauvegarde du fichier de signets «&#xa0;%@&#xa0;». Veuillez vérifier que vous avez les droits de lecture et d’écriture sur le dossier du fichier.</translation>
    </message>
    <message>
        <source>Safari is currently using the bookmarks file, please wait a while before sorting.</source>
        <translation>Safari utilise actuellement le fichier de signets, veuillez patienter un moment avant de trier.</translation>
    </message>
    <message>
        <source>No Name</source>
        <translation>Sans nom</translation>
    </message>
    <message>
        <source>%@ is currently using the bookmarks file, please quit it before sorting.</source>
        <translation>%@ utilise actuellement le fichier de signets, veuillez le quitter avant de trier.</translation>
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
        <translation>&amp;Fichier</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Aide</translation>
    </message>
    <message>
        <source>&amp;Sort Bookmarks</source>
        <translation>&amp;Trier les signets</translation>
    </message>
    <message>
        <source>&amp;Restore Initial Backup…</source>
        <translation>&amp;Restaurer la sauvegarde initiale…</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Quitter</translation>
    </message>
    <message>
        <source>Ctrl+Q</source>
        <translation>Ctrl+Q</translation>
    </message>
    <message>
        <source>Orvane &amp;Web Site</source>
        <translation>Site &amp;web d’Orvane</translation>
    </message>
    <message>
        <source>&amp;About Orvane</source>
        <translation>À &amp;propos d’Orvane</translation>
    </message>
    <message>
        <source>&amp;Bookmarks of:</source>
        <translation>Signets &amp;de&#xa0;:</translation>
    </message>
    <message>
        <source>&amp;Arrange folders at top</source>
        <translation>&amp;Placer les dossiers en tête</translation>
    </message>
    <message>
        <source>Remove &amp;duplicate bookmarks</source>
        <translation>&amp;Supprimer les signets en double</translation>
    </message>
    <message>
        <source>&amp;Rename bookmarks with the same name</source>
        <translation>&amp;Renommer les signets de même nom</translation>
    </message>
    <message>
        <source>Sort the Bookmarks Bar &amp;too</source>
        <translation>Trier aussi la &amp;barre des signets</translation>
    </message>
    <message>
        <source>Sort a&amp;utomatically when the bookmarks change</source>
        <translation>Trier a&amp;utomatiquement quand les signets changent</translation>
    </message>
</context>
<context>
    <name>orvane</name>
    <message>
        <source>Sorts Safari’s bookmarks. Settings: %1</source>
        <translation>Trie les signets de Safari. Réglages&#xa0;: %1</translation>
    </message>
    <message>
        <source>Exit status: 0 when Orvane quits, 1 when the command line holds an option it does not know.</source>
        <translation>Code de sortie&#xa0;: 0 quand Orvane se termine, 1 quand la ligne de commande contient une option inconnue.</translation>
    </message>
</context>
<context>
    <name>orvane::AppDelegate</name>
    <message>
        <source>Sort Bookmarks</source>
        <translation>Trier les signets</translation>
    </message>
    <message>
        <source>Begin Sorting Bookmarks</source>
        <translation>Commencer le tri automatique</translation>
    </message>
    <message>
        <source>Cannot automatically sort your bookmarks</source>
        <translation>Impossible de trier automatiquement vos signets</translation>
    </message>
    <message>
        <source>Something seems to be fataly wrong with the program‘s main file.

Please reinstall the application to remidy this problem.</source>
        <translation>Le fichier principal du programme semble gravement endommagé.

Veuillez réinstaller l’application pour résoudre ce problème.</translation>
    </message>
    <message>
        <source>The operating system says: %@

If this problem remains after restarting your computer, then please reinstall the application.</source>
        <translation>Le système d’exploitation indique&#xa0;: %@

Si le problème persiste après un redémarrage de votre ordinateur, veuillez réinstaller l’application.</translation>
    </message>
    <message>
        <source>Automatic sorting error</source>
        <translation>Erreur de tri automatique</translation>
    </message>
    <message>
        <source>Cannot add %@ to your login items. The automatic bookmark sorting will therefor unfortunately not be enabled by itself the next time you log in to OS X.</source>
        <translation>Impossible d’ajouter %@ à vos éléments de connexion. Le tri automatique des signets ne sera donc malheureusement pas activé de lui-même à votre prochaine ouverture de session sur OS X.</translation>
    </message>
    <message>
        <source>Could not begin watching the bookmarks file for modification events.

This problem is very rare. A restart of your computer will probably solve the error.</source>
        <translation>Impossible de commencer à surveiller les modifications du fichier de signets.

Ce problème est très rare. Un redémarrage de votre ordinateur devrait résoudre l’erreur.</translation>
    </message>
    <message>
        <source>Please update Safari</source>
        <translation>Veuillez mettre à jour Safari</translation>
    </message>
    <message>
        <source>You are about to restore the initial backup of your bookmarks</source>
        <translation>Vous êtes sur le point de restaurer la sauvegarde initiale de vos signets</translation>
    </message>
    <message>
        <source>This action will restore Safari’s bookmarks as they were before running this program for the first time.

Please note that this action will also remove and/or restore any bookmarks that you may have added or removed since initially running this program.

Would you like to restore your initial backup?</source>
        <translation>Cette action rétablira les signets de Safari tels qu’ils étaient avant la première utilisation de ce programme.

Veuillez noter que cette action supprimera ou rétablira aussi les signets que vous avez ajoutés ou supprimés depuis la première utilisation de ce programme.

Voulez-vous restaurer votre sauvegarde initiale&#xa0;?</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annuler</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Restoring the initial backup of your bookmarks.</source>
        <translation>Restauration de la sauvegarde initiale de vos signets.</translation>
    </message>
    <message>
        <source>The initial backup of your bookmarks have now been restored.</source>
        <translation>La sauvegarde initiale de vos signets a été restaurée.</translation>
    </message>
    <message>
        <source>Unfortionately the initial backup of your bookmarks could not be restored. Please verify that you have read and write privilages for the file “%@.”</source>
        <translation>La sauvegarde initiale de vos signets n’a malheureusement pas pu être restaurée. Veuillez vérifier que vous avez les droits de lecture et d’écriture sur le fichier «&#xa0;%@&#xa0;».</translation>
    </message>
    <message>
        <source>Cannot locate the bookmarks file</source>
        <translation>Impossible de trouver le fichier de signets</translation>
    </message>
    <message>
        <source>The bookmarks file is not located in its usual place.

Please locate and select Safari’s bookmarks file in the next dialog (it’s usually named: Bookmarks.plist.)</source>
        <translation>Le fichier de signets ne se trouve pas à son emplacement habituel.

Veuillez localiser et sélectionner le fichier de signets de Safari dans la fenêtre suivante (il s’appelle généralement&#xa0;: Bookmarks.plist.)</translation>
    </message>
    <message>
        <source>Property lists (*.plist)</source>
        <translation>Listes de propriétés (*.plist)</translation>
    </message>
    <message>
        <source>The bookmarks could not be sorted</source>
        <translation>Les signets n’ont pas pu être triés</translation>
    </message>
    <message>
        <source>The bookmarks are now sorted</source>
        <translation>Les signets sont maintenant triés</translation>
    </message>
    <message>
        <source>The bookmarks file “%@” has no Bookmarks Bar or no Bookmarks Menu, so it was left as it was.</source>
        <translation>Le fichier de signets «&#xa0;%@&#xa0;» n’a pas de barre des signets ou pas de menu des signets&#xa0;; il a donc été laissé tel quel.</translation>
    </message>
    <message>
        <source>The currently installed version of Safari is quite old. Apple has released newer and much more stable versions since then.

Please update Safari by choosing “Software Update...” from the “Apple” () menu (it is a free update and it will make your browsing experience better.)

Thank you!</source>
        <translation>La version de Safari installée est assez ancienne. Apple a publié depuis des versions plus récentes et bien plus stables.

Veuillez mettre à jour Safari en choisissant «&#xa0;Mise à jour de logiciels...&#xa0;» dans le menu «&#xa0;Apple&#xa0;» () (la mise à jour est gratuite et rendra votre navigation plus agréable.)

Merci&#xa0;!</translation>
    </message>
    <message>
        <source>Bookmarks files (*.plist Bookmarks places.sqlite)</source>
        <translation>Fichiers de signets (*.plist Bookmarks places.sqlite)</translation>
    </message>
    <message>
        <source>All files (*)</source>
        <translation>Tous les fichiers (*)</translation>
    </message>
    <message>
        <source>The bookmarks file is not located in its usual place.

Please locate and select %@’s bookmarks file in the next dialog (it’s usually named: %@.)</source>
        <translation>Le fichier de signets ne se trouve pas à son emplacement habituel.

Veuillez localiser et sélectionner le fichier de signets de %@ dans la fenêtre suivante (il s’appelle généralement&#xa0;: %@.)</translation>
    </message>
    <message>
        <source>This action will restore %1’s bookmarks as they were before running this program for the first time.

Please note that this action will also remove and/or restore any bookmarks that you may have added or removed since initially running this program.

Would you like to restore your initial backup?</source>
        <translation>Cette action rétablira les signets de %1 tels qu’ils étaient avant la première utilisation de ce programme.

Veuillez noter que cette action supprimera ou rétablira aussi les signets que vous avez pu ajouter ou supprimer depuis la première utilisation de ce programme.

Voulez-vous restaurer votre sauvegarde initiale&#xa0;?</translation>
    </message>
    <message>
        <source>%1 syncs these bookmarks with your account: sync would undo a sort made outside it and bring removed bookmarks back, so the bookmarks file “%2” was left as it was.</source>
        <translation>%1 synchronise ces signets avec votre compte&#xa0;: la synchronisation annulerait un tri fait en dehors du navigateur et ferait revenir les signets supprimés&#xa0;; le fichier de signets «&#xa0;%2&#xa0;» a donc été laissé tel quel.</translation>
    </message>
    <message>
        <source>The file “%1” is not a bookmarks file. Please locate and select %2’s bookmarks file.</source>
        <translation>Le fichier «&#xa0;%1&#xa0;» n’est pas un fichier de signets. Veuillez localiser et sélectionner le fichier de signets de %2.</translation>
    </message>
    <message>
        <source>The file “%1” was written in its new order.</source>
        <translation>Le fichier «&#xa0;%1&#xa0;» a été enregistré dans son nouvel ordre.</translation>
    </message>
    <message>
        <source>Nothing changed: the bookmarks were already in order, so the file “%1” was not written.</source>
        <translation>Rien n’a changé&#xa0;: les signets étaient déjà en ordre, le fichier «&#xa0;%1&#xa0;» n’a donc pas été réécrit.</translation>
    </message>
    <message>
        <source>Working…</source>
        <translation>Travail en cours…</translation>
    </message>
</context>
<context>
    <name>orvane::BookmarksChooser</name>
    <message>
        <source>Bookmarks of</source>
        <translation>Signets de</translation>
    </message>
    <message>
        <source>No file chosen</source>
        <translation>Aucun fichier choisi</translation>
    </message>
    <message>
        <source>Other file…</source>
        <translation>Autre fichier…</translation>
    </message>
</context>
</TS>

# Where file managers look for what their menus offer on a folder. Included with CMAKE_INSTALL_DATADIR
# set, where the desktop program is installed.
set(menus ${CMAKE_CURRENT_LIST_DIR})
# Dolphin and what else shows the menus of KDE.
install(FILES ${menus}/kio/org.tessary.Tessary.aggregate.desktop
  DESTINATION ${CMAKE_INSTALL_DATADIR}/kio/servicemenus COMPONENT desktop)
install(FILES ${menus}/nemo/org.tessary.Tessary.aggregate.nemo_action
  DESTINATION ${CMAKE_INSTALL_DATADIR}/nemo/actions COMPONENT desktop)
# PCManFM-Qt and PCManFM.
install(FILES ${menus}/file-manager/org.tessary.Tessary.aggregate.desktop
  DESTINATION ${CMAKE_INSTALL_DATADIR}/file-manager/actions COMPONENT desktop)
unset(menus)
